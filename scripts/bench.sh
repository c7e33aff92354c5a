#!/bin/sh
# The performance table.  KVERN_BENCH_GROUPS chooses whole-process groups (incore
# external small functions 4g 16g; the last needs some 50 GB), KVERN_BENCH_DIR the place.
set -eu
cd "$(dirname "$0")/.."
groups=${KVERN_BENCH_GROUPS:-incore external small functions}
place=${KVERN_BENCH_DIR:-build/bench-files}

echo "hot loops (bytes or records per second; compare within the run)"
build/native/bench_engine --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
  --benchmark_format=console 2>/dev/null | grep -E 'median|Benchmark'
echo
echo "whole processes (ratio below 1: we are faster)"
# shellcheck disable=SC2086
build/native/bench_process build/native/kvern "$place" "${KVERN_BENCH_RUNS:-3}" $groups
