# What the toolchain files of Windows share: mingw-w64 with the universal C run-time, whose errno, file numbers and
# environment the programs of other compilers share. A GCC that was made for the older run-time is told by a
# file of options; test programs and examples carry the C++ run-time and the threads' library along.
set(CMAKE_SYSTEM_NAME Windows)

# Debian names the variants by the model of threads.
find_program(ombrel_cxx_posix ${ombrel_triplet}-g++-posix)
if(ombrel_cxx_posix)
    set(ombrel_variant -posix)
endif()
set(CMAKE_C_COMPILER ${ombrel_triplet}-gcc${ombrel_variant})
set(CMAKE_CXX_COMPILER ${ombrel_triplet}-g++${ombrel_variant})
set(CMAKE_RC_COMPILER ${ombrel_triplet}-windres)

execute_process(COMMAND ${CMAKE_C_COMPILER} -dumpspecs OUTPUT_VARIABLE ombrel_specs ERROR_QUIET)
if(ombrel_specs MATCHES "-lmsvcrt")
    set(ombrel_run_time "-specs=${CMAKE_CURRENT_LIST_DIR}/mingw-ucrt.specs")
    set(CMAKE_C_FLAGS_INIT "-D_UCRT ${ombrel_run_time}")
    set(CMAKE_CXX_FLAGS_INIT "-D_UCRT ${ombrel_run_time}")
    if(CMAKE_SYSTEM_PROCESSOR STREQUAL "AMD64")
        # The threads' library was made for the older run-time's name of it.
        set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-u,__intrinsic_setjmp,--defsym,_setjmp=__intrinsic_setjmp")
    endif()
endif()
string(PREPEND CMAKE_EXE_LINKER_FLAGS_INIT "-static ")

# The host's libraries are no use; what the caller names as a prefix is.
set(CMAKE_FIND_ROOT_PATH /usr/${ombrel_triplet} ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
