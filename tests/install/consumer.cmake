# Helpers of the install and package tests: run a command, and build, install
# and run the consumer project against an installed tree.

# run(<command...>): runs the command, fails on a non-zero exit, and leaves its
# standard output in `output`.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGN}\n${out}\n${err}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

# What the consumer prints: its own action, an event rendered by the installed
# templating library, and its plug-in's action, made by the installed loader.
set(consumer_expected
  "executed 'installed' for 'armed'\n"
  "rendered: person at 1970-01-01T00:00:00.000000000+00:00\n"
  "greeting: Hello, visitor (test)\n")
string(CONCAT consumer_expected ${consumer_expected})

# check_consumer_output(<program> <what>): runs <program> in UTC and compares
# its output with what the consumer must print.
function(check_consumer_output program what)
  run(${CMAKE_COMMAND} -E env TZ=UTC "${program}")
  if(NOT output STREQUAL consumer_expected)
    message(FATAL_ERROR "unexpected output of the consumer built ${what}:\n'${output}'\nexpected:\n'${consumer_expected}'")
  endif()
endfunction()

# build_consumer(<prefix> <build dir>): configures the consumer project against
# the orv_action package under <prefix>, builds it, installs its plug-in beside
# the installed liborv_action, and checks what the consumer prints.
function(build_consumer prefix build_dir)
  if(CONSUMER_TOOLCHAIN)
    # As a firmware build does: the toolchain, and the staging directory as a
    # root to find packages under, the target's own libraries in the sysroot.
    run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${build_dir}" -G "${GENERATOR}"
        "-DCMAKE_TOOLCHAIN_FILE=${CONSUMER_TOOLCHAIN}" "-DORV_SYSROOT=${CONSUMER_SYSROOT}"
        "-DCMAKE_FIND_ROOT_PATH=${prefix}" "-DCMAKE_PREFIX_PATH=/")
  else()
    run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${build_dir}" -G "${GENERATOR}" "-DCMAKE_PREFIX_PATH=${prefix}")
  endif()
  run(${CMAKE_COMMAND} --build "${build_dir}")
  run(${CMAKE_COMMAND} --install "${build_dir}")
  check_consumer_output("${build_dir}/consumer" "with CMake against ${prefix}")
endfunction()
