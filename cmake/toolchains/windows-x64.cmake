# Windows on x86-64, by mingw-w64. Where wine is, programs run under it.
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(ombrel_triplet x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
find_program(ombrel_wine NAMES wine64 wine)
if(ombrel_wine)
    # Wine maps a page of the system at an address of its own. Where the host draws the places of a program's memory, that
    # address is taken once in some thousand starts, and the program ends before it begins.
    execute_process(COMMAND setarch x86_64 -R true RESULT_VARIABLE ombrel_result ERROR_QUIET)
    set(ombrel_at_fixed_places)
    if(ombrel_result EQUAL 0)
        set(ombrel_at_fixed_places setarch x86_64 -R)
    endif()
    set(CMAKE_CROSSCOMPILING_EMULATOR env WINEDEBUG=-all ${ombrel_at_fixed_places} ${ombrel_wine})
endif()
