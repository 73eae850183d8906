# Cross build for 32-bit ARM (armhf: same record layout as the device's 32-bit ARM ABI).
# Tests run under qemu-arm with the multiarch armhf libraries of this machine.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

get_filename_component(_zel_root "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
# armhf packages that cannot be installed beside the host's (p7zip) or whose
# dependencies a lagging mirror index may not resolve (libjpeg) are unpacked
# here by scripts/setup.sh; find_package and find_library look here first.
set(ZEL_ARMHF_OVERLAY "${_zel_root}/build/.armhf-runtime")
if(NOT EXISTS "${ZEL_ARMHF_OVERLAY}/.complete")
  message(FATAL_ERROR "armhf: the run-time pieces are not unpacked yet: run `scripts/setup.sh all` first")
endif()
list(APPEND CMAKE_FIND_ROOT_PATH "${ZEL_ARMHF_OVERLAY}")
include_directories(SYSTEM "${ZEL_ARMHF_OVERLAY}/usr/include/arm-linux-gnueabihf")
set(ZEL_ARMHF_RUNTIME_DIR "${ZEL_ARMHF_OVERLAY}/usr/lib/p7zip" CACHE PATH
    "Directory holding the armhf 7z.so that Debian's armhf libbacktrace needs")
# Debian's armhf libutils depends on libbacktrace, which needs 7z.so: every
# link against a library that uses libutils must find both folders.
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,-rpath-link,/usr/lib/arm-linux-gnueabihf/android:${ZEL_ARMHF_RUNTIME_DIR}:${ZEL_ARMHF_OVERLAY}/usr/lib/arm-linux-gnueabihf")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")
set(CMAKE_CROSSCOMPILING_EMULATOR
    qemu-arm -E "LD_LIBRARY_PATH=${ZEL_ARMHF_RUNTIME_DIR}:${ZEL_ARMHF_OVERLAY}/usr/lib/arm-linux-gnueabihf:/usr/lib/arm-linux-gnueabihf/android"
    CACHE STRING "Runs armhf test binaries on the build machine")
