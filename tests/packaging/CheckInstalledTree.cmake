# cmake -P script: install, then build and run a consumer against the install.
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGV}\n${output}")
  endif()
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

foreach(forbidden internal/PImplImpl.h internal/StreamRecords.h internal/ZelLog.h)
  file(GLOB_RECURSE leaked ${prefix}/include/*/${forbidden})
  if(leaked)
    message(FATAL_ERROR "private header installed: ${leaked}")
  endif()
endforeach()

# The library directory is the one holding the pkg-config folder.
file(GLOB_RECURSE pc_file ${prefix}/*/zelkov_android.pc)
get_filename_component(pc_dir ${pc_file} DIRECTORY)
get_filename_component(libdir ${pc_dir} DIRECTORY)
file(COPY ${HW_MODULE} DESTINATION ${libdir}/hw)

set(configure_args -S ${CONSUMER_DIR} -B ${WORK_DIR}/consumer -G ${GENERATOR} -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM}
                   -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
# A sanitized library needs a sanitized program.
set(sanitize_flags "")
if(SANITIZERS)
  set(sanitize_flags -fsanitize=${SANITIZERS})
  list(APPEND configure_args "-DCMAKE_CXX_FLAGS=${sanitize_flags}")
endif()
if(TOOLCHAIN_FILE)
  list(APPEND configure_args -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN_FILE})
endif()
run(${CMAKE_COMMAND} ${configure_args})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
run(${EMULATOR} ${WORK_DIR}/consumer/consumer)

# pkg-config: the same source, compiled and linked with the flags the .pc file gives.
find_program(PKG_CONFIG pkg-config REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
set(ENV{PKG_CONFIG_LIBDIR} ${pc_dir})
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs zelkov_android OUTPUT_VARIABLE flags
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags} ${LINKER_FLAGS}")
run(${CXX_COMPILER} -std=c++17 ${sanitize_flags} ${CONSUMER_DIR}/main.cpp ${flags} -Wl,-rpath,${libdir}
    -o ${WORK_DIR}/pkg-config-consumer)
run(${EMULATOR} ${WORK_DIR}/pkg-config-consumer)
