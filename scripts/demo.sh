#!/usr/bin/env bash
# Builds the library and runs the demo on the simulated platform.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh host
cmake --preset host-release >/dev/null
cmake --build --preset host-release --target zelkov_demo
build/host-release/demo/zelkov_demo
