# Functions that the library's services run stand side by side in the dynamic library (link_order.txt), so that a process
# of them has few of its pages. GNU's linker tells the script that it goes by: it goes by the same with these functions
# first. Other linkers, and processors but the one whose names the list has, keep the order of the objects.

# Leaves the script's path in `variable`; empty where there is none.
function(ombrel_link_order variable)
    set(${variable} "" PARENT_SCOPE)
    if(WIN32 OR NOT BUILD_SHARED_LIBS OR NOT CMAKE_C_COMPILER_ID STREQUAL "GNU" OR
       NOT CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64" OR NOT CMAKE_SIZEOF_VOID_P EQUAL 8)
        return()
    endif()
    separate_arguments(flags NATIVE_COMMAND "${CMAKE_C_FLAGS} ${CMAKE_SHARED_LINKER_FLAGS}")
    set(output ${PROJECT_BINARY_DIR}/link_order.so)
    execute_process(COMMAND ${CMAKE_C_COMPILER} ${flags} -shared -Wl,--verbose -o ${output}
        OUTPUT_VARIABLE told ERROR_QUIET)
    file(REMOVE ${output})
    if(NOT told MATCHES "\n===+\n(.*)\n===+\n")
        return()
    endif()
    set(script "${CMAKE_MATCH_1}")
    string(FIND "${script}" "*(.text.unlikely" place)
    if(place LESS 0)
        return()
    endif()
    # What the compiler and the C library bring for every start stands with what starts.
    set(first "*crtbegin*.o(.text)\n*libc_nonshared.a:*(.text .text.*)\n*(.text.startup .text.startup.*)\n")
    file(STRINGS ${PROJECT_SOURCE_DIR}/cmake/link_order.txt names REGEX "^[^#]")
    foreach(name IN LISTS names)
        string(APPEND first "*(.text.${name} .text.${name}.*)\n")
    endforeach()
    string(SUBSTRING "${script}" 0 ${place} before)
    string(SUBSTRING "${script}" ${place} -1 behind)
    file(WRITE ${PROJECT_BINARY_DIR}/link_order.ld "${before}${first}${behind}")
    set(${variable} ${PROJECT_BINARY_DIR}/link_order.ld PARENT_SCOPE)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/link_order.txt)
endfunction()
