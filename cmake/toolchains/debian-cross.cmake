# What the toolchains for other processors share: Debian's cross compiler of `ombrel_triplet`, either installed or
# unpacked under build/cross by scripts/bootstrap, and its programs run by `ombrel_emulator`.
set(CMAKE_SYSTEM_NAME Linux)

get_filename_component(ombrel_unpacked ${CMAKE_CURRENT_LIST_DIR}/../../build/cross ABSOLUTE)
find_program(ombrel_c_compiler NAMES ${ombrel_triplet}-gcc ${ombrel_triplet}-gcc-12 HINTS ${ombrel_unpacked}/usr/bin
    REQUIRED)
string(REGEX REPLACE "gcc(-12)?$" "g++\\1" ombrel_cxx_compiler ${ombrel_c_compiler})
set(CMAKE_C_COMPILER ${ombrel_c_compiler})
set(CMAKE_CXX_COMPILER ${ombrel_cxx_compiler})

# What was unpacked names its parts by the paths of an installation, to which the linker adds the root.
if(ombrel_c_compiler MATCHES "^${ombrel_unpacked}/")
    set(CMAKE_SYSROOT ${ombrel_unpacked})
endif()
set(ombrel_root ${CMAKE_SYSROOT}/usr/${ombrel_triplet})
set(CMAKE_FIND_ROOT_PATH ${ombrel_root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

list(GET ombrel_emulator 0 ombrel_emulator_program)
find_program(ombrel_emulator_path ${ombrel_emulator_program})
if(ombrel_emulator_path)
    list(REMOVE_AT ombrel_emulator 0)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${ombrel_emulator_path} ${ombrel_emulator} -L ${ombrel_root})
endif()
