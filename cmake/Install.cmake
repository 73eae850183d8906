# cmake --install: the library, its public headers, a CMake package
# (find_package(zelkov_android)) and a pkg-config file. The host stand-ins of
# the platform libraries go beside, under lib/zelkov_android/platform, so that
# a camera core can be built and run off-device against the installed tree.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ZEL_PLATFORM_LIBDIR ${CMAKE_INSTALL_LIBDIR}/zelkov_android/platform)
set_target_properties(zelkov_android PROPERTIES INSTALL_RPATH "$ORIGIN/zelkov_android/platform")

install(TARGETS zelkov_android LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/android/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/android
        FILES_MATCHING PATTERN "*.h" PATTERN "internal" EXCLUDE)

# Installed modules live in <libdir>/hw, as the platform's in /vendor/lib/hw;
# the installed libhardware names that directory relative to its own.
set(ZEL_HW_MODULE_LIBDIR ${CMAKE_INSTALL_LIBDIR}/hw)
file(RELATIVE_PATH hw_from_platform /prefix/${ZEL_PLATFORM_LIBDIR} /prefix/${ZEL_HW_MODULE_LIBDIR})
zel_add_hardware(hardware_installed ${hw_from_platform})
set_target_properties(hardware_installed PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/installed)

foreach(standin zelkov_cutils ui camera_metadata hardware_installed sensorndkbridge)
  set_target_properties(${standin} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${standin} LIBRARY DESTINATION ${ZEL_PLATFORM_LIBDIR})
endforeach()

# The package declares the imported target itself: the library's platform
# dependencies are private and reached through its RUNPATH, not exported.
set(ZEL_LIBRARY_FILE ${CMAKE_SHARED_LIBRARY_PREFIX}zelkov_android${CMAKE_SHARED_LIBRARY_SUFFIX}.${PROJECT_VERSION_MAJOR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/package/zelkov_androidConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/zelkov_androidConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zelkov_android)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zelkov_androidConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zelkov_androidConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/zelkov_androidConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zelkov_android)

file(RELATIVE_PATH ZEL_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/package/zelkov_android.pc.in
               ${CMAKE_CURRENT_BINARY_DIR}/zelkov_android.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zelkov_android.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
