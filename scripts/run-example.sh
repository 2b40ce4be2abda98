#!/usr/bin/env bash
# Builds the library and the example programs (Release, no tests) in build/
# and runs the configuration-record example.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."

bash scripts/install-deps.sh

cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DZXV_BUILD_TESTS=OFF -DZXV_BUILD_EXAMPLES=ON
cmake --build build -j"$(nproc)"

./build/examples/zxv_config_example
