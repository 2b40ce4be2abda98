#!/usr/bin/env bash
# Builds everything with warnings as errors in build-test/ and runs the tests.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."

bash scripts/install-deps.sh

cmake -S . -B build-test -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZXV_BUILD_TESTS=ON -DZXV_WERROR=ON
cmake --build build-test -j"$(nproc)"
ctest --test-dir build-test --output-on-failure -j"$(nproc)"
