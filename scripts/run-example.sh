#!/usr/bin/env bash
# Builds the library, the example programs and the zxv tool (Release, no
# tests) in build/, runs the configuration-record example, then the main job:
# the bundled configuration converted from JSON to a .zxv record file, which
# is then checked, described and printed.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."

bash scripts/install-deps.sh

cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DZXV_BUILD_TESTS=OFF -DZXV_BUILD_EXAMPLES=ON
cmake --build build -j"$(nproc)"

./build/examples/zxv_config_example

zxv=./build/tools/zxv/zxv
run() {
  echo
  echo "\$ zxv $*"
  "$zxv" "$@"
}

run convert examples/config.json build/config.zxv
run validate build/config.zxv
run stat build/config.zxv
run print build/config.zxv
