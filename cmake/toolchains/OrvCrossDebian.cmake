# Shared part of the toolchain files for Debian's cross compilers. The including
# file sets ORV_CROSS_TRIPLET, ORV_CROSS_DEBIAN_ARCH, ORV_CROSS_QEMU and
# CMAKE_SYSTEM_PROCESSOR.
#
# The target's libraries come from Debian packages, either
#   - a sysroot of them (ORV_SYSROOT, by default /opt/orv-sysroot/<arch>, which
#     `scripts/install-deps.sh --cross <arch>` extracts when multiarch cannot be
#     used), or
#   - the multiarch packages installed on the build machine (libfoo-dev:<arch>),
#     when there is no sysroot.
# Tests run under qemu-user with the same library root.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${ORV_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${ORV_CROSS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${ORV_CROSS_TRIPLET})
# Installed binaries are examined with the target's tools (strip, nm).
set(CMAKE_STRIP ${ORV_CROSS_TRIPLET}-strip CACHE FILEPATH "")
set(CMAKE_NM ${ORV_CROSS_TRIPLET}-nm CACHE FILEPATH "")

if(NOT DEFINED ORV_SYSROOT)
  if(DEFINED ENV{ORV_SYSROOT})
    set(ORV_SYSROOT "$ENV{ORV_SYSROOT}")
  elseif(EXISTS "/opt/orv-sysroot/${ORV_CROSS_DEBIAN_ARCH}/.orv-sysroot-complete")
    set(ORV_SYSROOT "/opt/orv-sysroot/${ORV_CROSS_DEBIAN_ARCH}")
  else()
    set(ORV_SYSROOT "")
  endif()
endif()
set(ORV_SYSROOT "${ORV_SYSROOT}" CACHE PATH "Root of the target's Debian packages; empty for multiarch")
# try_compile projects see the same root.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORV_SYSROOT)

if(ORV_SYSROOT)
  set(CMAKE_SYSROOT "${ORV_SYSROOT}")
  # Appended, so that a staging directory given as CMAKE_FIND_ROOT_PATH is kept.
  list(APPEND CMAKE_FIND_ROOT_PATH "${ORV_SYSROOT}")
  set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
  set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
  set(ENV{PKG_CONFIG_SYSROOT_DIR} "${ORV_SYSROOT}")
  set(ENV{PKG_CONFIG_LIBDIR}
    "${ORV_SYSROOT}/usr/lib/${ORV_CROSS_TRIPLET}/pkgconfig:${ORV_SYSROOT}/usr/share/pkgconfig")
  set(ORV_QEMU_LD_PREFIX "${ORV_SYSROOT}" CACHE INTERNAL "the target's library root for qemu-user")
else()
  set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/${ORV_CROSS_TRIPLET}/pkgconfig:/usr/share/pkgconfig")
  set(ORV_QEMU_LD_PREFIX "/" CACHE INTERNAL "the target's library root for qemu-user")
endif()

# The emulator runs every test program. QEMU_LD_PREFIX, rather than -L, also
# reaches the programs that a test starts itself (orv-action, the plug-in
# scanner), which the kernel hands to qemu through binfmt_misc.
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/env "QEMU_LD_PREFIX=${ORV_QEMU_LD_PREFIX}" /usr/bin/${ORV_CROSS_QEMU})
