#!/usr/bin/env bash
# Builds everything under AddressSanitizer and UBSan and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZORBEL_SANITIZE=ON
cmake --build build/asan
ctest --test-dir build/asan --output-on-failure -j "$(nproc)"
