#!/usr/bin/env bash
# Builds the host-release preset and runs every benchmark program (the
# library's *_benchmark programs, then the camera pipeline through hal3_check's
# layers), then prints one table of the figures (benchmarks/summarize.py) with
# the machine they ran on and its load average at the start and the end.
#   scripts/bench.sh                 3 repetitions per benchmark, medians reported
#   BENCH_REPETITIONS=1 scripts/bench.sh
# JSON outputs are kept in build/host-release/benchmark-results/.
set -euo pipefail
cd "$(dirname "$0")/.."

repetitions=${BENCH_REPETITIONS:-3}
build=build/host-release

scripts/setup.sh host >&2

cmake --preset host-release >&2
# Only the benchmark programs (one per benchmarks/*_benchmark.cpp) and what they
# link, and the pipeline benchmark with the camera module it loads.
targets=(--target hal3_pipeline_bench --target camera_core_module)
for source in benchmarks/*_benchmark.cpp; do targets+=(--target "$(basename "$source" .cpp)"); done
cmake --build "$build" -j2 "${targets[@]}" >&2

results="$build/benchmark-results"
rm -rf "$results"
mkdir -p "$results"
shopt -s nullglob
programs=("$build"/benchmarks/*_benchmark "$build"/benchmarks/hal3_pipeline_bench)
if [ ${#programs[@]} -eq 0 ]; then
  echo "bench: no benchmark program in $build/benchmarks" >&2
  exit 1
fi
for program in "${programs[@]}"; do
  name=$(basename "$program")
  echo "bench: running $name" >&2
  "$program" --benchmark_repetitions="$repetitions" --benchmark_report_aggregates_only=true \
    --benchmark_out="$results/$name.json" --benchmark_out_format=json >&2
done

python3 benchmarks/summarize.py "$results"/*.json
