# The pkg-config file of the installed libraries and the Debian packages made
# by `cpack -G DEB` in a build directory:
#   liborv-action1     the shared libraries and the plug-in scanner
#   liborv-action-dev  headers, the CMake package and orv_action.pc
#   orv-action         the orv-action program and the action plug-ins

# orv_action.pc: relocatable (the prefix is found from the file's own place),
# listing every library, since public headers of each are reachable from
# liborv_action's.
get_property(orv_libraries GLOBAL PROPERTY ORV_INSTALLED_LIBRARIES)
set(ORV_PC_LIBS "")
foreach(library IN LISTS orv_libraries)
  string(APPEND ORV_PC_LIBS " -l${library}")
endforeach()
file(RELATIVE_PATH ORV_PC_TO_PREFIX "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" ORV_PC_TO_PREFIX "${ORV_PC_TO_PREFIX}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/orv_action.pc.in" "${PROJECT_BINARY_DIR}/orv_action.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/orv_action.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT development)

set(CPACK_PACKAGE_NAME orv-action)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Actions of a video-analytics device: mail, web requests and more")
set(CPACK_PACKAGE_CONTACT "liborv_action maintainers <maintainers@liborv-action.invalid>")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL libraries development tool)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_COMPONENT_LIBRARIES_DESCRIPTION
  "Action library of a video-analytics device, and its framework libraries\n"
  "liborv_action runs actions when the device's analytics rules fire, turns events into\n"
  "template data and loads action plug-ins; the framework libraries provide type identity,\n"
  "properties, observables, meta data, templating and plug-in loading.")
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME liborv-action1)
# Run-time dependencies from the libraries' own ELF needs (libc, libstdc++,
# Boost.Filesystem), through dpkg-shlibdeps.
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SHLIBDEPS ON)
# A shlibs file and the ldconfig trigger, as for any Debian library package.
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_GENERATE_SHLIBS ON)

set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "Development files of liborv_action\n"
  "Headers, the CMake package (find_package(orv_action)) and the pkg-config file\n"
  "orv_action.pc for writing action plug-ins and hosts.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS libraries)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liborv-action-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# The public headers include Boost, mstch and cereal headers.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libboost-dev (>= 1.74), libboost-filesystem-dev (>= 1.74), libboost-system-dev (>= 1.74), libmstch-dev, libcereal-dev")

set(CPACK_COMPONENT_TOOL_DESCRIPTION
  "orv-action program and the action plug-ins\n"
  "orv-action shows the template data of events, renders templates, lists and fires\n"
  "action types and runs a device's actions on recorded events. The plug-ins provide\n"
  "orv.action.File, orv.action.Request (HTTP), orv.action.Mail (SMTP) and orv.action.Mqtt (MQTT).")
set(CPACK_COMPONENT_TOOL_DEPENDS libraries)
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME orv-action)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)

# dpkg-shlibdeps finds our own libraries in the package being made.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")

include(CPack)
