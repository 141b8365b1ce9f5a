# Debian's cross compiler for 32-bit ARM with hardware floating point
# (crossbuild-essential-armhf).
set(CMAKE_SYSTEM_PROCESSOR arm)
set(ORV_CROSS_TRIPLET arm-linux-gnueabihf)
set(ORV_CROSS_DEBIAN_ARCH armhf)
set(ORV_CROSS_QEMU qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/OrvCrossDebian.cmake)
