# Windows on 32-bit x86, by mingw-w64. It is built and linked; wine runs it where its 32-bit half is.
set(CMAKE_SYSTEM_PROCESSOR X86)
set(ombrel_triplet i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
# Windows gives threads stacks aligned to 4 bytes, callbacks of the system too.
string(APPEND CMAKE_C_FLAGS_INIT " -mincoming-stack-boundary=2")
string(APPEND CMAKE_CXX_FLAGS_INIT " -mincoming-stack-boundary=2")
