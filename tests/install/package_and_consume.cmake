# cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -DGENERATOR=... -P package_and_consume.cmake
#
# Makes the Debian packages of the build, unpacks them into a throwaway root
# with dpkg -x, checks their dependencies, and builds the consumer against
# the unpacked tree, once with CMake and once with pkg-config.
include("${CMAKE_CURRENT_LIST_DIR}/consumer.cmake")
file(REMOVE_RECURSE "${WORK_DIR}")
set(packages "${WORK_DIR}/packages")
set(root "${WORK_DIR}/root")
run(cpack -G DEB --config "${BUILD_DIR}/CPackConfig.cmake" -B "${packages}")

# package name -> what its Depends must name
set(depends_liborv-action1 "libboost-filesystem1.74.0" "libstdc++6" "libc6")
set(depends_liborv-action-dev "liborv-action1 (= " "libboost-dev" "libmstch-dev" "libcereal-dev")
set(depends_orv-action "liborv-action1 (= " "libcurl4" "libgmime-3.0-0" "libmosquitto1")
foreach(package liborv-action1 liborv-action-dev orv-action)
  file(GLOB deb "${packages}/${package}_*.deb")
  if(NOT deb)
    message(FATAL_ERROR "cpack made no package ${package} in ${packages}")
  endif()
  run(dpkg-deb -f "${deb}" Depends)
  foreach(needed IN LISTS depends_${package})
    string(FIND "${output}" "${needed}" at)
    if(at EQUAL -1)
      message(FATAL_ERROR "${package} does not depend on ${needed}: Depends: ${output}")
    endif()
  endforeach()
  run(dpkg -x "${deb}" "${root}")
endforeach()
foreach(file usr/include/orv/action/action.hpp usr/lib/cmake/orv_action/orv_actionConfig.cmake
    usr/lib/pkgconfig/orv_action.pc usr/libexec/orv_action/orv-plugin-scan usr/bin/orv-action
    usr/lib/liborv_action_file.so)
  if(NOT EXISTS "${root}/${file}")
    message(FATAL_ERROR "the packages hold no ${file}")
  endif()
endforeach()

build_consumer("${root}/usr" "${WORK_DIR}/build")

# The same host through pkg-config, with the plug-in the CMake build installed.
set(ENV{PKG_CONFIG_PATH} "${root}/usr/lib/pkgconfig")
run(pkg-config --cflags --libs orv_action)
separate_arguments(flags UNIX_COMMAND "${output}")
run(c++ -std=c++20 "${SOURCE_DIR}/main.cpp" -o "${WORK_DIR}/consumer-pkg-config" ${flags}
  "-Wl,-rpath,${root}/usr/lib")
check_consumer_output("${WORK_DIR}/consumer-pkg-config" "with pkg-config against ${root}/usr")
message(STATUS "the Debian packages unpack into a tree that builds and runs a consumer")
