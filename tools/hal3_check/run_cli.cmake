# hal3_check's own options: each bad value, and a module that does not load,
# ends the run before any scenario with exit code 2 (the checker could not
# run) and one line naming it; --help lists the options, the exit codes, and
# leads to gtest's flags.
set(bad --frames=abc --frames=-3 --frames=0 --stall-ms=99999999999999999999 --rate-tolerance= --camera=7
        --camera=01 --no-such-option --module=${OUT}/no-such-module.so)
foreach(arg IN LISTS bad)
  execute_process(COMMAND ${EXE} ${arg} --out=${OUT} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err
                  TIMEOUT 30)
  string(REGEX MATCHALL "\n" lines "${err}")
  list(LENGTH lines count)
  if(NOT rc EQUAL 2 OR NOT count EQUAL 1 OR NOT err MATCHES "^hal3_check: " OR NOT out STREQUAL "")
    message(FATAL_ERROR "${arg}: exit ${rc}, ${count} line(s) on stderr: ${err}${out}")
  endif()
endforeach()
execute_process(COMMAND ${EXE} --help RESULT_VARIABLE rc OUTPUT_VARIABLE out TIMEOUT 30)
foreach(option --module= --camera= --out= --frames= --stall-ms= --rate-tolerance= --no-dump --gtest_filter
               HAL3_CHECK_TIME_SCALE "1 findings" "2 the checker could" "3 the checker itself")
  if(NOT rc EQUAL 0 OR NOT out MATCHES "${option}")
    message(FATAL_ERROR "--help (exit ${rc}) does not list ${option}")
  endif()
endforeach()
