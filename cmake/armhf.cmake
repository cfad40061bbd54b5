# Toolchain file for 32-bit ARM with hardware floating point (ARMv7), Debian's armhf.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(triplet arm-linux-gnueabihf)
set(emulator qemu-arm)
set(sysroot sysroot-armhf)
# GCC 7 changed how C++ objects of 8-byte alignment are passed, and gcc notes this at each such call. It does not matter:
# all code was built by newer compilers or has a C interface.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
