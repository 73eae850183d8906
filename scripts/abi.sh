#!/usr/bin/env bash
# Regenerates the ABI baseline from the armhf build, on purpose, after an
# intended interface change:  scripts/abi.sh update
set -euo pipefail
cd "$(dirname "$0")/.."
[ "${1:-}" = update ] || { echo "usage: scripts/abi.sh update" >&2; exit 2; }
scripts/setup.sh all
cmake --preset armhf >/dev/null
cmake --build --preset armhf --target zelkov_android
NM=arm-linux-gnueabihf-nm abi/abi_check.py update build/armhf/android/libzelkov_android.so
