# The pages of docs/guide say what the programs of examples/guide are and print.
add_test(NAME guide.pages COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/scripts/check-guide)

set(guide_programs ${PROJECT_BINARY_DIR}/examples/guide)
if(CMAKE_CROSSCOMPILING_EMULATOR)
    list(APPEND guide_programs ${CMAKE_CURRENT_BINARY_DIR}/emulated)
endif()
set(narrow)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(narrow --32)
endif()

# Compares what the commands of one program print, unless NOT_HERE says why it cannot.
function(ombrel_guide_test name)
    cmake_parse_arguments(its "" "NOT_HERE" "" ${ARGN})
    if(its_NOT_HERE)
        ombrel_skipped_test(guide.${name} "${its_NOT_HERE}")
        return()
    endif()
    add_test(NAME guide.${name} COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/scripts/check-guide
        ${narrow} --only ${name} ${guide_programs})
    set_tests_properties(guide.${name} PROPERTIES TIMEOUT 300)
endfunction()

foreach(name IN LISTS OMBREL_GUIDE_PROGRAMS)
    ombrel_started_by(starter guide_${name})
endforeach()
foreach(name first lines greet leak damage dead_lock worker chat)
    ombrel_guide_test(${name})
endforeach()
