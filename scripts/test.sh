#!/usr/bin/env bash
# Builds and runs every test: host (ASan+UBSan), host-tsan and armhf (under
# qemu-arm). Installs what is missing first. Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh all

for preset in host host-tsan armhf; do
  echo "=== $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
