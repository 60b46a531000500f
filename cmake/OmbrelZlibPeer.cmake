# Sets OMBREL_ZLIB_LINKS when zlib is there for the target, which it may not be for a 32-bit one.
include(CheckCXXSourceCompiles)
find_package(ZLIB QUIET)
if(ZLIB_FOUND)
    set(CMAKE_REQUIRED_LIBRARIES ZLIB::ZLIB)
    check_cxx_source_compiles("#include <zlib.h>
        int main() { return zlibVersion() == nullptr; }" OMBREL_ZLIB_LINKS)
    unset(CMAKE_REQUIRED_LIBRARIES)
endif()
