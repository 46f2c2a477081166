#!/usr/bin/env bash
# Builds the library in Release and runs the demo.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DZORBEL_BUILD_TESTS=OFF
cmake --build build/release --target zorbel-demo
build/release/examples/zorbel-demo
