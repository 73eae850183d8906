#!/usr/bin/env bash
# Builds and runs every test: host (ASan+UBSan with LeakSanitizer), host-tsan,
# armhf (under qemu-arm), the fuzz targets for a bounded time (host-fuzz), and
# the demo under Valgrind's memcheck. Installs what is missing first (only
# that needs root). Exits non-zero on any failure or sanitizer report.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh all

echo "=== format"
git ls-files -z '*.cpp' '*.h' '*.c' | xargs -0 clang-format --dry-run -Werror

for preset in host host-tsan armhf host-fuzz; do
  echo "=== $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done

echo "=== demo under valgrind memcheck"
cmake --preset host-release >/dev/null
cmake --build --preset host-release --target zelkov_demo
log=build/host-release/demo-memcheck.log
if ! valgrind --quiet --error-exitcode=3 --leak-check=full --errors-for-leak-kinds=definite \
     build/host-release/demo/zelkov_demo >"$log" 2>&1; then
  cat "$log"
  echo "demo: failed under memcheck"
  exit 1
fi
echo "demo: every road worked, memcheck clean"
