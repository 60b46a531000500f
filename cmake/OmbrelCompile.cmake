# Compile settings that everything in this tree shares.

function(ombrel_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
        $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual>)
    if(OMBREL_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

# The library's own dialect: no exceptions, no run-time types, no hidden start-up code, nothing from the C++
# run-time library.
function(ombrel_library_dialect target)
    target_compile_features(${target} PRIVATE cxx_std_20)
    target_compile_options(${target} PRIVATE -fvisibility=hidden
        $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility-inlines-hidden>
        -fno-semantic-interposition)
    # Clang's check of called functions' types needs its C++ run-time library, which C programs do not link.
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
        target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-sanitize=function>)
    endif()
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        # What a lock guards (core/thread_safety.h). The locks of the interface are plain records of C, which need
        # not be declared as locks.
        target_compile_options(${target} PRIVATE
            $<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety -Wno-thread-safety-attributes>)
    endif()
    if(MINGW AND CMAKE_SIZEOF_VOID_P EQUAL 8 AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # GCC keeps vectors of 32 bytes on stacks that Windows aligns to 16.
        target_compile_options(${target} PRIVATE -Wa,-muse-unaligned-vector-move)
    endif()
    target_compile_definitions(${target} PRIVATE OMBREL_BUILDING_LIBRARY OMBREL_CHECK_FORMATS
        $<IF:$<BOOL:${WIN32}>,WIN32_LEAN_AND_MEAN;NOMINMAX;_WIN32_WINNT=0x0602,_FILE_OFFSET_BITS=64;_TIME_BITS=64>
        $<$<OR:$<CONFIG:Debug>,$<BOOL:${OMBREL_CHECK_INVARIANTS}>>:OMBREL_CHECKS_INVARIANTS>)
endfunction()
