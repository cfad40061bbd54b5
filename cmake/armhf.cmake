# Toolchain file: 32-bit ARM with hardware floating point (ARMv7), as Debian's armhf.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(triplet arm-linux-gnueabihf)
set(emulator qemu-arm)
set(sysroot sysroot-armhf)
# GCC 7 changed how C++ objects of 8-byte alignment are passed, and gcc tells so at each such call. What meets at run
# time here was built by newer compilers, or speaks C.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
