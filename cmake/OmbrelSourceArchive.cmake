# Run by `cpack`. For an archive of the sources it takes the files that git knows, as they stand, and nothing else of
# the folder; for one of what is installed there is nothing to do.
if(NOT CPACK_TOPLEVEL_TAG MATCHES "-Source$")
    return()
endif()
set(sources ${CMAKE_CURRENT_LIST_DIR}/..)
get_filename_component(sources ${sources} ABSOLUTE)
execute_process(COMMAND git -C ${sources} rev-parse --show-prefix
    OUTPUT_VARIABLE prefix OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR prefix) # a folder within another checkout
    message(FATAL_ERROR "${sources} is no checkout of git, from whose list the source archive is made")
endif()
execute_process(COMMAND git -C ${sources} -c core.quotePath=off ls-files OUTPUT_VARIABLE files)
string(REGEX MATCHALL "[^\n]+" files "${files}")
foreach(file ${files})
    get_filename_component(folder ${file} DIRECTORY)
    file(COPY ${sources}/${file} DESTINATION ${CMAKE_INSTALL_PREFIX}/${folder})
endforeach()
