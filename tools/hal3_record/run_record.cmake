# Runs hal3_check against MODULE through camera.hal3_record.so (RECORDER),
# replays the recording, and passes only when the replay names the same rules
# on the same frames as the live run, for every rule a replay can check (the
# ones that need the tool's own driving are left out: see tools/hal3_record/
# README.md).
#   RULE    "-": the live run must pass (the recorder adds no finding);
#           a rule id: the live run and the replay must both name it
#           ("*": any rule; a rule of the driving side is required live only)
#   FAULT, CONFIG  a fault the camera core injects; ROGUE  camera.plain.so's
#   FILTER, STALL_MS  as run_fault.cmake
#   EMULATOR  what runs EXE (the cross-compiling emulator, "|"-separated), if anything
#   CUT     also replay the recording cut at a random byte (a note, no crash)
#           and damaged inside (exit 2, one line)
# Or, with INPUTS=<dirs>: replays every file there and passes when each ends
# with exit 0, 1 or 2 and no sanitizer report.
cmake_minimum_required(VERSION 3.21)  # IN_LIST, file(COPY_FILE)
string(REPLACE "|" ";" EMULATOR "${EMULATOR}")
set(EXE ${EMULATOR} ${EXE})  # qemu-arm for the armhf preset
if(DEFINED INPUTS)
  foreach(dir ${INPUTS})
    file(GLOB files ${dir}/*)
    foreach(input ${files})
      execute_process(COMMAND ${EXE} --replay=${input} --out=${OUT} --stall-ms=100
                      RESULT_VARIABLE rc OUTPUT_VARIABLE output ERROR_VARIABLE errors TIMEOUT 60)
      if(NOT rc MATCHES "^[012]$" OR errors MATCHES "Sanitizer|runtime error")
        message(FATAL_ERROR "replay of ${input}: exit ${rc}\n${output}${errors}")
      endif()
    endforeach()
  endforeach()
  return()
endif()

# Rules a replay cannot check: they need the tool to choose the calls
# (templates, configurations, bad requests), to read the pictures, or to
# watch the process (crash, hung call).
set(driving_rules module-record module-cameras module-init module-callbacks vendor-tags camera-info
    device-version open open-bad-id open-twice initialize default-settings default-intent default-ae-on
    default-triggers configure configure-invalid configure-max-buffers configure-usage configure-stream-changed
    request request-invalid flush-in-flight hal-crash hal-call-timeout call-time buffer-alloc buffer-lock
    jpeg-blob jpeg-decode test-pattern stale-frame 3a-converge frame-rate)

if(DEFINED FAULT)
  set(ENV{ZELKOV_CAMERA_CONFIG} ${CONFIG})
  set(ENV{ZELKOV_CAMERA_FAULT} ${FAULT}@5)
endif()
set(ENV{PLAIN_CAMERA_ROGUE} "${ROGUE}")
set(ENV{HAL3_RECORD_MODULE} ${MODULE})
set(ENV{HAL3_RECORD_OUT} ${OUT}/recorded.h3r)
if(NOT DEFINED FILTER)
  set(FILTER Camera/Preview.*)
endif()
if(NOT DEFINED STALL_MS)
  set(STALL_MS 1000)
endif()
file(REMOVE_RECURSE ${OUT})
file(MAKE_DIRECTORY ${OUT})
execute_process(COMMAND ${EXE} --module=${RECORDER} --out=${OUT}/live --frames=12 --stall-ms=${STALL_MS}
                        --gtest_filter=${FILTER} --gtest_output=xml:${OUT}/live/junit.xml
                RESULT_VARIABLE live_rc OUTPUT_VARIABLE live_out ERROR_VARIABLE live_err TIMEOUT 250)
if(NOT live_out MATCHES "hal3_check: [0-9]+ scenario run" OR NOT EXISTS ${OUT}/recorded.h3r)
  message(FATAL_ERROR "the live run through the recorder did not finish (${live_rc}):\n${live_out}${live_err}")
endif()
if(live_err MATCHES "Sanitizer|runtime error" AND NOT RULE STREQUAL "hal-crash")
  message(FATAL_ERROR "the live run through the recorder has a sanitizer report:\n${live_err}")
endif()
execute_process(COMMAND ${EXE} --replay=${OUT}/recorded.h3r --out=${OUT}/replay --stall-ms=${STALL_MS}
                        --gtest_output=xml:${OUT}/replay/junit.xml
                RESULT_VARIABLE replay_rc OUTPUT_VARIABLE replay_out ERROR_VARIABLE replay_err TIMEOUT 120)
message("${replay_out}${replay_err}")
if(NOT replay_rc MATCHES "^[01]$" OR replay_err MATCHES "Sanitizer|runtime error")
  message(FATAL_ERROR "the replay ended with ${replay_rc}")
endif()

# The findings of a run, "<rule>" or "<rule>@<frame>", one each, the driving
# side's left out.
function(findings dir var)
  set(text)
  foreach(file junit.xml trace.txt)
    if(EXISTS ${dir}/${file})
      file(READ ${dir}/${file} content)
      string(APPEND text "${content}")
    endif()
  endforeach()
  string(REGEX MATCHALL "\\[rule [a-z0-9-]+\\]( frame [0-9]+)?" found "${text}")
  set(out)
  foreach(f ${found})
    string(REGEX REPLACE "\\[rule ([a-z0-9-]+)\\].*" "\\1" rule "${f}")
    # A stall is named live by the request that could not go in, in a
    # replay by the frames that never came: compared by rule only.
    if(f MATCHES "frame ([0-9]+)" AND NOT rule STREQUAL "result-timeout")
      set(f ${rule}@${CMAKE_MATCH_1})
    else()
      set(f ${rule})
    endif()
    if(NOT rule IN_LIST driving_rules)
      list(APPEND out ${f})
    endif()
  endforeach()
  list(REMOVE_DUPLICATES out)
  list(SORT out)
  set(${var} "${out}" PARENT_SCOPE)
endfunction()
findings(${OUT}/live live)
findings(${OUT}/replay replayed)
message("live: ${live}\nreplayed: ${replayed}")
if(NOT live STREQUAL replayed)
  message(FATAL_ERROR "the replay's findings differ from the live run's:\n live:     ${live}\n replayed: ${replayed}")
endif()
if(RULE STREQUAL "-")
  if(NOT live_rc EQUAL 0)
    message(FATAL_ERROR "a clean module failed through the recorder (exit ${live_rc}):\n${live_out}")
  endif()
elseif(RULE STREQUAL "*")
  if(NOT live_rc EQUAL 1)
    message(FATAL_ERROR "the live run should fail (exit ${live_rc})")
  endif()
else()
  file(READ ${OUT}/live/trace.txt live_trace)
  if(NOT "${live_out}${live_err}${live_trace}" MATCHES "\\[rule ${RULE}\\]")
    message(FATAL_ERROR "the live run does not name [rule ${RULE}]")
  endif()
endif()
if(NOT RULE MATCHES "^[-*]$" AND NOT RULE IN_LIST driving_rules)
  if(NOT "${replayed}" MATCHES "(^|;)${RULE}(@|;|$)")
    message(FATAL_ERROR "the replay does not name [rule ${RULE}]")
  endif()
  # Both timelines mark it (nlohmann writes keys sorted: name before ph).
  foreach(dir live replay)
    file(GLOB timelines ${OUT}/${dir}/timeline_*.json)
    set(marked FALSE)
    foreach(timeline ${timelines})
      file(READ ${timeline} json)
      if(json MATCHES "\"name\":\"${RULE}\",\"ph\":\"i\"")
        set(marked TRUE)
      endif()
    endforeach()
    if(NOT marked)
      message(FATAL_ERROR "no ${dir} timeline marks [rule ${RULE}]")
    endif()
  endforeach()
endif()

if(CUT)
  file(SIZE ${OUT}/recorded.h3r bytes)
  string(RANDOM LENGTH 9 ALPHABET 0123456789 number)
  string(REGEX REPLACE "^0+" "" number "${number}0")
  # In the second half: a cut before the first open leaves no session to replay.
  math(EXPR cut "${bytes} / 2 + ${number} % (${bytes} / 2)")
  file(COPY_FILE ${OUT}/recorded.h3r ${OUT}/cut.h3r)
  execute_process(COMMAND truncate -s ${cut} ${OUT}/cut.h3r)
  execute_process(COMMAND ${EXE} --replay=${OUT}/cut.h3r --out=${OUT}/cut --stall-ms=${STALL_MS}
                  RESULT_VARIABLE rc OUTPUT_VARIABLE output ERROR_VARIABLE errors TIMEOUT 120)
  # A cut between two records is a shorter recording, not a cut one.
  if(NOT rc MATCHES "^[01]$" OR errors MATCHES "Sanitizer|runtime error" OR
     (NOT errors MATCHES "cut inside record" AND NOT output MATCHES "replayed [0-9]+ session"))
    message(FATAL_ERROR "the recording cut at byte ${cut} of ${bytes}: exit ${rc}\n${output}${errors}")
  endif()
  message("cut at byte ${cut} of ${bytes}: ${errors}")
  # Damaged inside: the first record's kind.
  file(COPY_FILE ${OUT}/recorded.h3r ${OUT}/damaged.h3r)
  execute_process(COMMAND sh -c "printf '\\377' | dd of=\"$0\" bs=1 seek=20 conv=notrunc 2>/dev/null" ${OUT}/damaged.h3r)
  execute_process(COMMAND ${EXE} --replay=${OUT}/damaged.h3r --out=${OUT}/damaged
                  RESULT_VARIABLE rc OUTPUT_VARIABLE output ERROR_VARIABLE errors TIMEOUT 60)
  string(STRIP "${errors}" errors)
  if(NOT rc EQUAL 2 OR NOT errors MATCHES "^hal3_check: [^\n]*damaged recording: record 0[^\n]*$")
    message(FATAL_ERROR "a damaged recording: exit ${rc}, expected 2 and one line:\n${output}${errors}")
  endif()
endif()
