# Linux with musl as its C library, by the headers and the compiler's options of Debian's musl-tools and the system's
# own GCC. That GCC brings no C++ run-time library for musl. So the library, which needs none, is built in both forms
# with the examples and checked by C programs; the test programs are not built.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_HOST_SYSTEM_PROCESSOR})
set(CMAKE_C_COMPILER musl-gcc)
set(CMAKE_CXX_COMPILER g++)
set(OMBREL_NO_CXX_RUN_TIME ON)

execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-multiarch OUTPUT_VARIABLE ombrel_multiarch
    OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REPLACE -gnu -musl ombrel_musl "${ombrel_multiarch}")
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -dumpversion OUTPUT_VARIABLE ombrel_version OUTPUT_STRIP_TRAILING_WHITESPACE)
# The kernel's headers lie beside glibc's, which are not to be found.
get_filename_component(ombrel_kernel_headers ${CMAKE_CURRENT_LIST_DIR}/../../build/musl-kernel-headers ABSOLUTE)
file(MAKE_DIRECTORY ${ombrel_kernel_headers})
file(CREATE_LINK /usr/include/linux ${ombrel_kernel_headers}/linux SYMBOLIC)
file(CREATE_LINK /usr/include/asm-generic ${ombrel_kernel_headers}/asm-generic SYMBOLIC)
file(CREATE_LINK /usr/include/${ombrel_multiarch}/asm ${ombrel_kernel_headers}/asm SYMBOLIC)
set(CMAKE_C_FLAGS_INIT "-isystem ${ombrel_kernel_headers}")
string(CONCAT CMAKE_CXX_FLAGS_INIT
    "-specs=/usr/lib/${ombrel_musl}/musl-gcc.specs"
    " -isystem /usr/include/c++/${ombrel_version} -isystem /usr/include/${ombrel_multiarch}/c++/${ombrel_version}"
    " -include ${CMAKE_CURRENT_LIST_DIR}/musl-libstdcxx.h -isystem ${ombrel_kernel_headers}")

set(CMAKE_FIND_ROOT_PATH /usr/lib/${ombrel_musl})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
