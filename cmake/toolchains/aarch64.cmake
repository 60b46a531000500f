# 64-bit Arm. The emulated processor has all extensions, so that every kernel runs.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(ombrel_triplet aarch64-linux-gnu)
set(ombrel_emulator qemu-aarch64 -cpu max)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
