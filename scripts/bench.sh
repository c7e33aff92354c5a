#!/bin/sh
# The performance table: docs/performance.md tells of the settings.
set -eu
cd "$(dirname "$0")/.."
place=${KVERN_BENCH_DIR:-build/bench-files}

echo "hot loops (bytes or records per second; compare within the run)"
build/native/bench_engine --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
  --benchmark_format=console 2>/dev/null | grep -E 'median|Benchmark'
echo
echo "whole processes (ratio below 1: we are faster)"
# shellcheck disable=SC2086
build/native/bench_process build/native/kvern "$place" "${KVERN_BENCH_RUNS:-3}" ${KVERN_BENCH_GROUPS:-}
