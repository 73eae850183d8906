#!/usr/bin/env bash
# Builds the library and runs the demo on the simulated platform: first the
# library's typical roads, then hal3_check driving the simulated camera core
# as Android's camera framework would (its last line says where the pictures are).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh host
cmake --preset host-release >/dev/null
cmake --build --preset host-release --target zelkov_demo hal3_check >/dev/null
build/host-release/demo/zelkov_demo
echo
echo "=== hal3_check: the camera framework's road through the simulated camera core"
out=build/host-release/hal3_check_out
rm -rf "$out"
build/host-release/tools/hal3_check/hal3_check --out="$out" --record="$out/run.h3r" | grep -E '^hal3_check: |\[rule '
rc=${PIPESTATUS[0]}
echo
echo "=== hal3_check --replay: the run checked again from its recording, as one recorded on a device would be"
build/host-release/tools/hal3_check/hal3_check --replay="$out/run.h3r" --out="$out/replay" | grep -E '^hal3_check: replayed|\[rule '
timeline=$(ls -S "$out"/replay/timeline_*.json | head -n 1)
echo "timeline of the busiest session (open in ui.perfetto.dev or chrome://tracing): $timeline"
exit "$rc"
