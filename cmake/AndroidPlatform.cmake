# The parts of the Android platform that Debian packages: libutils (Thread,
# RefBase, Mutex, Singleton) and the system-core and frameworks-native headers.
# They live under <libdir>/android and /usr/include/android, for the host and,
# through multiarch, for armhf.
set(ZEL_ANDROID_INCLUDE_DIR /usr/include/android)
if(CMAKE_LIBRARY_ARCHITECTURE)
  set(ZEL_ANDROID_LIB_DIR /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android)
else()
  set(ZEL_ANDROID_LIB_DIR /usr/lib/x86_64-linux-gnu/android)
endif()

find_library(ZEL_ANDROID_UTILS_LIB utils PATHS ${ZEL_ANDROID_LIB_DIR} NO_DEFAULT_PATH REQUIRED)
if(NOT EXISTS ${ZEL_ANDROID_INCLUDE_DIR}/utils/Thread.h OR NOT EXISTS ${ZEL_ANDROID_INCLUDE_DIR}/android/sensor.h)
  message(FATAL_ERROR "Android platform headers missing: run scripts/setup.sh")
endif()

# Headers only: <system/graphics.h>, <cutils/native_handle.h>, <android/sensor.h>, <android/looper.h>.
add_library(android_headers INTERFACE)
target_include_directories(android_headers SYSTEM INTERFACE ${ZEL_ANDROID_INCLUDE_DIR})

add_library(android_utils INTERFACE)
target_link_libraries(android_utils INTERFACE android_headers ${ZEL_ANDROID_UTILS_LIB})
# The platform libraries carry their own RUNPATH, but executables need the directory too.
target_link_options(android_utils INTERFACE "LINKER:-rpath,${ZEL_ANDROID_LIB_DIR}")
