# A big-endian 64-bit processor: what assumes an order of bytes fails there.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(ombrel_triplet s390x-linux-gnu)
set(ombrel_emulator qemu-s390x -cpu max)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
