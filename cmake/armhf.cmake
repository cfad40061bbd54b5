# Toolchain file: 32-bit ARM with hardware floating point (ARMv7), as Debian's armhf.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(triplet arm-linux-gnueabihf)
set(emulator qemu-arm)
set(sysroot sysroot-armhf)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
