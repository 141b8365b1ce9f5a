#cmake - DBUILD_DIR = ... - DSOURCE_DIR = ... - DWORK_DIR = ... - DGENERATOR = ... - P install_and_consume.cmake
file(REMOVE_RECURSE "${WORK_DIR}") set(prefix "${WORK_DIR}/prefix")

    function(run) execute_process(COMMAND ${
        ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err) if (NOT result EQUAL 0)
        message(FATAL_ERROR
                "failed (${result}): ${ARGN}\n${out}\n${err}") endif() set(output "${out}" PARENT_SCOPE) endfunction()

            run($ { CMAKE_COMMAND } --install "${BUILD_DIR}" --prefix
                "${prefix}") run(${CMAKE_COMMAND} - S "${SOURCE_DIR}" - B "${WORK_DIR}/build" -
                                 G
                                 "${GENERATOR}"
                                 "-DCMAKE_PREFIX_PATH=${prefix}") run($ { CMAKE_COMMAND } --build "${WORK_DIR}/build")
                run("${WORK_DIR}/build/consumer") if (NOT output STREQUAL "executed 'installed' for 'armed'\n")
                    message(FATAL_ERROR "unexpected output of the consumer: '${output}'") endif()
#The installed loader finds the installed plug - in scanner(under libexec,
#relative to the installed liborv_system) and loads the installed plug - in.
                        if (EXISTS
                            "${prefix}/bin/orv-action") if (NOT EXISTS
                                                            "${prefix}/${LIBEXEC_DIR}/orv_action/orv-plugin-scan")
                            message(FATAL_ERROR
                                    "the plug-in scanner is not installed at "
                                    "${prefix}/${LIBEXEC_DIR}/orv_action/orv-plugin-scan") endif()
#Also once the tree is moved elsewhere, as a staging directory is.
                                set(moved "${WORK_DIR}/moved") foreach (tree
                                                                        "${prefix}"
                                                                        "${moved}") if (tree STREQUAL
                                                                                        "${moved}") file(RENAME
                                                                                                         "${prefix}"
                                                                                                         "${moved}")
                                    endif() run("${tree}/bin/orv-action" types) if (
                                        NOT output MATCHES "^orv\\.action\\.File  0xd19e2905\n" OR output MATCHES
                                                           "failed to load|refused|orv\\.test\\.")
                                        message(FATAL_ERROR
                                                "unexpected types of the orv-action installed in ${tree}: '${output}'")
                                            endif() endforeach() endif()
                                                message(STATUS "the installed package builds and runs a consumer")
