# Shared build settings of every orv library, test, benchmark and tool.

# Warnings apply to our own code only; they travel through this target,
# never through the installed package. Turning them into errors is a
# developer setting (on in the presets and CI), never forced on someone who
# only builds or packages the project with another compiler version.
option(ORV_WERROR "Treat compiler warnings in the project's own code as errors" OFF)
add_library(orv_warnings INTERFACE)
target_compile_options(orv_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-qual
  $<$<BOOL:${ORV_WERROR}>:-Werror>)
# g++ 12 at -O2 and above reports -Wrestrict inside libstdc++'s own
# operator+(char const*, std::string&&) whenever a literal is prepended to a
# string (GCC bug 105651, fixed in g++ 13): a false positive in the standard
# library, so that one warning is off for that one compiler.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 12
   AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(orv_warnings INTERFACE -Wno-restrict)
endif()

if(ORV_SANITIZER STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(ORV_SANITIZER STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT ORV_SANITIZER STREQUAL "")
  message(FATAL_ERROR "ORV_SANITIZER must be empty, 'address' or 'thread', not '${ORV_SANITIZER}'")
endif()

# libFuzzer: every library carries the fuzzer's coverage instrumentation;
# only the targets under fuzz/ link its driver (-fsanitize=fuzzer there).
if(ORV_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "ORV_BUILD_FUZZERS needs clang (libFuzzer), not ${CMAKE_CXX_COMPILER_ID}: use the preset 'fuzz'")
  endif()
  if(NOT ORV_SANITIZER STREQUAL "address")
    message(FATAL_ERROR "ORV_BUILD_FUZZERS needs ORV_SANITIZER=address: use the preset 'fuzz'")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# 64-bit time and file offsets on 32-bit targets (armhf): glibc's time_t and
# off_t are 32 bits there unless asked, which breaks times after 2038-01-19
# and files over 2 GiB. No public header carries a time_t or off_t, so code
# built against the installed package need not use the same setting.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

# orv_use_platform_time_abi(<target>)
#
# Builds <target> with the platform's own time_t and off_t, for code that
# includes the headers of a library built with them that has a time_t in its
# API: Debian's armhf cpp-httplib is built with a 32-bit time_t, so its
# classes and its set_*_timeout(time_t) functions would not match code built
# with a 64-bit one. No-op on 64-bit targets.
function(orv_use_platform_time_abi target)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # After the -D options on the command line, so these win.
    target_compile_options(${target} PRIVATE -U_TIME_BITS -U_FILE_OFFSET_BITS)
  endif()
endfunction()

include(GenerateExportHeader)

# orv_add_library(<name> SOURCES <files...> [DEPENDS <targets...>] [PRIVATE_DEPENDS <targets...>])
#
# Builds the shared library liborv_<name>.so from the sources in the calling
# directory, with public headers under ./include, the alias orv::<name>, and
# install rules into the exported orv_action package. Symbols are hidden
# unless marked with ORV_<NAME>_API from the generated header
# orv/<name with '_' as '/'>/export.hpp, so each library exports its API and
# nothing else.
function(orv_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  set(target orv_${name})
  add_library(${target} SHARED ${ARG_SOURCES})
  add_library(orv::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${name}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  string(REPLACE "_" "/" header_dir "orv/${name}")
  string(TOUPPER "ORV_${name}_API" macro)
  set(generated "${CMAKE_CURRENT_BINARY_DIR}/include")
  generate_export_header(${target}
    EXPORT_MACRO_NAME ${macro}
    EXPORT_FILE_NAME "${generated}/${header_dir}/export.hpp")
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>
    $<BUILD_INTERFACE:${generated}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${target} PUBLIC ${ARG_DEPENDS} PRIVATE ${ARG_PRIVATE_DEPENDS} $<BUILD_INTERFACE:orv_warnings>)
  install(TARGETS ${target} EXPORT orv_actionTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libraries NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT libraries)
  install(FILES "${generated}/${header_dir}/export.hpp" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${header_dir}"
    COMPONENT development)
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/include)
    install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
  endif()
  set_property(GLOBAL APPEND PROPERTY ORV_INSTALLED_LIBRARIES ${target})
endfunction()
