# Runs hal3_check once against a misbehaving module and passes only if the run
# finished (its closing line printed, the JUnit file written) and ended as
# RULE says: a rule id the run must fail under, "*" for any rule but a crash
# of the checker's own process, "-" for a run that must pass, "warning:<id>"
# for a run that must pass with that should-rule's warning.
#   FAULT   a fault the camera core injects (ZELKOV_CAMERA_FAULT, at frame 5)
#   MODULE  a module to load instead of the core, ROGUE its PLAIN_CAMERA_ROGUE
#   FILTER  the scenarios (default: the preview scenario)
#   STALL_MS, RUN_TIMEOUT  the checker's stall time and the run's bound (s)
#   CALL    the HAL call the finding must name
#   EMULATOR  what runs EXE on another architecture (qemu-arm and its
#             arguments, joined by "|"), or empty
# A finished run's closing line starts a line of its own: the module's output
# comes labelled "module: ", so a module printing one does not count.
if(DEFINED FAULT)
  set(ENV{ZELKOV_CAMERA_CONFIG} ${CONFIG})
  set(ENV{ZELKOV_CAMERA_FAULT} ${FAULT}@5)
  set(what "fault ${FAULT}")
else()
  set(module --module=${MODULE})
  set(ENV{PLAIN_CAMERA_ROGUE} "${ROGUE}")
  set(what "module ${MODULE} ${ROGUE}")
endif()
foreach(default FILTER=Camera/Preview.* STALL_MS=1000 RUN_TIMEOUT=50)
  string(REPLACE "=" ";" default ${default})
  list(GET default 0 name)
  if(NOT DEFINED ${name})
    list(GET default 1 ${name})
  endif()
endforeach()
file(REMOVE ${OUT}/junit.xml)
string(REPLACE "|" ";" emulator "${EMULATOR}")
execute_process(COMMAND ${emulator} ${EXE} ${module} --out=${OUT} --frames=12 --stall-ms=${STALL_MS} --gtest_filter=${FILTER}
                        --gtest_output=xml:${OUT}/junit.xml
                RESULT_VARIABLE rc OUTPUT_VARIABLE output ERROR_VARIABLE errors TIMEOUT ${RUN_TIMEOUT})
message("${output}${errors}")
if(NOT output MATCHES "(^|\n)hal3_check: [0-9]+ scenario run" OR NOT EXISTS ${OUT}/junit.xml)
  message(FATAL_ERROR "${what}: hal3_check did not finish (crash or hang: ${rc})")
endif()
file(READ ${OUT}/junit.xml junit)
# A module that crashes may leave a sanitizer's report of its own crash; any
# other report is the checker's.
if(errors MATCHES "Sanitizer|runtime error" AND NOT RULE STREQUAL "hal-crash")
  message(FATAL_ERROR "${what}: hal3_check finished with a sanitizer report")
endif()
if(RULE MATCHES "^warning:(.+)")
  # A "should" rule: the run passes, and its trace names the warning.
  file(READ ${OUT}/trace.txt trace)
  set(warning ${CMAKE_MATCH_1})
  string(FIND "${trace}" "WARN [rule ${warning}]" at)
  if(NOT rc EQUAL 0 OR at EQUAL -1)
    message(FATAL_ERROR "${what}: the run should pass with a [rule ${warning}] warning (exit ${rc})")
  endif()
  if(DEFINED CALL AND NOT trace MATCHES "WARN \\[rule ${warning}\\][^\n]* ${CALL} ")
    message(FATAL_ERROR "${what}: the warning does not name ${CALL}")
  endif()
elseif(RULE STREQUAL "-")
  if(NOT rc EQUAL 0 OR (FAULT MATCHES "^error_" AND NOT output MATCHES "error_frames=[1-9]"))
    message(FATAL_ERROR "${what}: the run should pass (exit ${rc})")
  endif()
  if(errors MATCHES "hal3_check: warning: ")
    message(FATAL_ERROR "${what}: a legal module is warned about as it starts")
  endif()
  # What a module prints reaches the log labelled, and never the verdict.
  if(ROGUE STREQUAL "spoof_output" AND (NOT output MATCHES "\nmodule: \\[rule hal-crash\\]" OR junit MATCHES "\\[rule "))
    message(FATAL_ERROR "${what}: the module's output was not labelled, or reached the JUnit report")
  endif()
elseif(NOT rc EQUAL 1)
  message(FATAL_ERROR "${what}: hal3_check should fail with exit 1, got ${rc}")
elseif(RULE STREQUAL "*")
  if(NOT junit MATCHES "\\[rule [a-z0-9-]+\\]" OR "${output}${errors}" MATCHES "\\[rule hal-crash\\]")
    message(FATAL_ERROR "${what}: no finding, or the checker's process crashed")
  endif()
else()
  string(FIND "${junit}" "[rule ${RULE}]" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${what}: not caught under [rule ${RULE}] in the JUnit report")
  endif()
  if(DEFINED CALL AND NOT junit MATCHES "\\[rule ${RULE}\\][^\n]* ${CALL}([^a-z_]|$)")
    message(FATAL_ERROR "${what}: the finding does not name ${CALL}")
  endif()
endif()
