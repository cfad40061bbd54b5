# Toolchain file for 64-bit ARM, Debian's arm64.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triplet aarch64-linux-gnu)
set(emulator qemu-aarch64)
set(sysroot sysroot-arm64)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
