#!/usr/bin/env bash
# Installs what the build needs on a Debian machine. Only missing packages are
# installed, which needs root; with everything installed any user may run it
# (the test and demo commands do, on every run).
#   scripts/setup.sh host   the host toolchain and platform packages
#   scripts/setup.sh all    also the armhf cross toolchain, qemu and armhf platform packages
set -euo pipefail
cd "$(dirname "$0")/.."

scope=${1:-all}
# Packages that exist for several architectures are named with theirs, since
# the armhf ones may be installed beside the host's.
host=$(dpkg --print-architecture)
packages=(cmake ninja-build g++ python3 pkgconf abigail-tools blueprint-tools valgrind clang libclang-rt-14-dev libgtest-dev:$host libbenchmark-dev:$host
          android-libutils-dev:$host android-libcutils-dev:$host
          android-platform-system-core-headers android-platform-frameworks-native-headers
          nlohmann-json3-dev libjpeg62-turbo-dev libpng-dev clang-format)
if [ "$scope" = all ]; then
  packages+=(g++-arm-linux-gnueabihf qemu-user
             android-libutils-dev:armhf android-libcutils-dev:armhf libgtest-dev:armhf)
fi

not_installed() {
  local package status
  for package in "$@"; do
    status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
    [ "$status" = "install ok installed" ] || echo "$package"
  done
}

mkdir -p build
apt_log=$PWD/build/setup-apt.log
mapfile -t missing < <(not_installed "${packages[@]}")
if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: nothing missing (${#packages[@]} packages installed)"
elif [ "$(id -u)" != 0 ]; then
  echo "setup: FAILED: missing ${missing[*]}: run scripts/setup.sh $scope as root to install them" >&2
  exit 1
else
  echo "setup: installing ${missing[*]}"
  if [ "$scope" = all ] && ! dpkg --print-foreign-architectures | grep -qx armhf; then
    dpkg --add-architecture armhf
  fi
  # A mirror caught mid-sync fails an index or two; what matters is whether the
  # install below succeeds, so the index errors are summarised in one line.
  if ! apt-get update -qq >"$apt_log" 2>&1; then
    echo "setup: $(grep -c '^E:' "$apt_log") package index error(s) from the mirror (details in $apt_log); installing from the indexes that loaded"
  fi
  if ! DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >>"$apt_log" 2>&1; then
    tail -n 20 "$apt_log"
  fi
  mapfile -t still_missing < <(not_installed "${missing[@]}")
  if [ ${#still_missing[@]} -gt 0 ]; then
    echo "setup: FAILED: could not install ${still_missing[*]} (apt's output: $apt_log)" >&2
    exit 1
  fi
  echo "setup: installed ${#missing[@]} package(s)"
fi

# armhf packages unpacked into the build tree instead of installed: Debian's
# armhf libbacktrace (under libutils) needs p7zip's 7z.so, which cannot be
# installed beside the amd64 p7zip; libjpeg's armhf -dev package drags in
# armhf libc headers that a lagging mirror index may not resolve. The armhf
# toolchain file looks in this overlay for headers, libraries and at run time.
overlay=build/.armhf-runtime
overlay_packages=(p7zip-full:armhf libjpeg62-turbo:armhf libjpeg62-turbo-dev:armhf)
if [ "$scope" = all ] && [ ! -f "$overlay/.complete" ]; then
  download=$(mktemp -d)
  chmod 777 "$download"
  if ! (cd "$download" && apt-get download -qq "${overlay_packages[@]}" >>"$apt_log" 2>&1); then
    echo "setup: FAILED: could not download ${overlay_packages[*]} (apt's output: $apt_log)" >&2
    exit 1
  fi
  mkdir -p "$overlay"
  for deb in "$download"/*.deb; do dpkg -x "$deb" "$overlay"; done
  rm -rf "$download"
  touch "$overlay/.complete"
fi
