# cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -DGENERATOR=... -DLIBEXEC_DIR=...
#       -P install_and_consume.cmake
#
# Installs the build into a fresh prefix, checks the installed orv-action and
# plug-in scanner, then builds the consumer and its plug-in against it.
include("${CMAKE_CURRENT_LIST_DIR}/consumer.cmake")
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")

# The installed loader finds the installed plug-in scanner (under libexec,
# relative to the installed liborv_system) and loads the installed plug-ins,
# also once the tree is moved elsewhere, as a staging directory is.
if(EXISTS "${prefix}/bin/orv-action")
  if(NOT EXISTS "${prefix}/${LIBEXEC_DIR}/orv_action/orv-plugin-scan")
    message(FATAL_ERROR "the plug-in scanner is not installed at ${prefix}/${LIBEXEC_DIR}/orv_action/orv-plugin-scan")
  endif()
  set(moved "${WORK_DIR}/moved")
  foreach(tree "${prefix}" "${moved}")
    if(tree STREQUAL "${moved}")
      file(RENAME "${prefix}" "${moved}")
    endif()
    run("${tree}/bin/orv-action" types)
    if(NOT output MATCHES "^orv\\.action\\.File  0xd19e2905\n" OR output MATCHES "failed to load|refused|orv\\.test\\.")
      message(FATAL_ERROR "unexpected types of the orv-action installed in ${tree}: '${output}'")
    endif()
  endforeach()
  file(RENAME "${moved}" "${prefix}")
endif()

build_consumer("${prefix}" "${WORK_DIR}/build")
message(STATUS "the installed package builds and runs a consumer and loads its plug-in")
