#!/usr/bin/env bash
# Builds in Release and runs the benchmarks with repetitions (medians are the figures).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DZORBEL_BUILD_TESTS=OFF
cmake --build build/release --target zorbel-bench
build/release/bench/zorbel-bench --benchmark_repetitions="${REPETITIONS:-5}" \
  --benchmark_report_aggregates_only=true "$@"
