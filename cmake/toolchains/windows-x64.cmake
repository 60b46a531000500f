# Windows on x86-64, by mingw-w64. Where wine is, programs run under it.
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(ombrel_triplet x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
find_program(ombrel_wine NAMES wine64 wine)
if(ombrel_wine)
    set(CMAKE_CROSSCOMPILING_EMULATOR env WINEDEBUG=-all ${ombrel_wine})
endif()
