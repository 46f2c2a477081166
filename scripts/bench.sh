#!/usr/bin/env bash
# Builds in Release and runs the benchmarks with repetitions (medians are the figures).
# Each benchmark runs in a process of its own: the large fixtures free memory that the
# next benchmark would otherwise get back scattered, which slows it by a factor of 2 to 8.
# Arguments go to every run; FILTER (a regular expression) picks benchmarks by name.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DZORBEL_BUILD_TESTS=OFF
cmake --build build/release --target zorbel-bench
bench=build/release/bench/zorbel-bench
"$bench" --benchmark_list_tests=true --benchmark_filter="${FILTER:-.}" |
  sed -E 's#/(iterations|repeats):.*##' | sort -u |
  while read -r name; do
    "$bench" --benchmark_filter="^${name}(/|\$)" --benchmark_repetitions="${REPETITIONS:-5}" \
      --benchmark_report_aggregates_only=true "$@" </dev/null
  done
