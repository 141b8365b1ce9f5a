# Debian's cross compiler for 64-bit ARM (crossbuild-essential-arm64).
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(ORV_CROSS_TRIPLET aarch64-linux-gnu)
set(ORV_CROSS_DEBIAN_ARCH arm64)
set(ORV_CROSS_QEMU qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/OrvCrossDebian.cmake)
