# Man pages and completion of the tools, which the tools themselves write when they are built, and their installation.

if(WIN32)
    return() # it has no readers of either
elseif(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    message(STATUS "Man pages and completion are left out: no emulator runs the tools that write them")
    return()
endif()

set(pages ${PROJECT_BINARY_DIR}/pages)
# What stands behind the name of the file, run by a shell for its output.
set(write_file sh -c "file=$1 && shift && exec \"$@\" >\"$file\"" sh)
set(commands)
foreach(tool ombrel_digest ombrel_codec ombrel_gallery status_service)
    set(run ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${tool}>)
    list(APPEND commands COMMAND ${write_file} ${pages}/man1/${tool}.1 ${run} --manual
        COMMAND ${write_file} ${pages}/completions/${tool} ${run} --completion)
endforeach()
add_custom_command(OUTPUT ${pages}/written
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${pages}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${pages}/man1 ${pages}/completions
    COMMAND ombrel_tuk_command manual --directory ${pages}/man1
    COMMAND ${write_file} ${pages}/completions/ombrel_tuk
        ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:ombrel_tuk_command> completion
    ${commands}
    COMMAND ${CMAKE_COMMAND} -E touch ${pages}/written
    DEPENDS ${tools} ombrel_tuk
    COMMENT "Writing the man pages and the completion of the tools"
    VERBATIM)
add_custom_target(ombrel_pages ALL DEPENDS ${pages}/written)

install(DIRECTORY ${pages}/man1/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
install(DIRECTORY ${pages}/completions/
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
