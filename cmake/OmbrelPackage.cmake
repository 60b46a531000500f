# Archives by `cpack`: of what is installed, and on systems other than Windows of the sources as well
# (`cpack --config CPackSourceConfig.cmake`). Each unpacks into one folder of its own name.

if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(ombrel_windows_word x64)
    set(ombrel_processor ${CMAKE_SYSTEM_PROCESSOR})
else()
    set(ombrel_windows_word x86)
    # A compiler may build for 32 bits on a processor that has 64.
    string(REPLACE "x86_64" "i386" ombrel_processor ${CMAKE_SYSTEM_PROCESSOR})
endif()
if(WIN32)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_PACKAGE_FILE_NAME ombrel_tuk-${PROJECT_VERSION}-windows-${ombrel_windows_word})
else()
    set(CPACK_GENERATOR TGZ)
    string(TOLOWER ${CMAKE_SYSTEM_NAME} ombrel_system)
    set(CPACK_PACKAGE_FILE_NAME ombrel_tuk-${PROJECT_VERSION}-${ombrel_system}-${ombrel_processor})
endif()
set(CPACK_STRIP_FILES ON)

# The sources are gathered by a script, from git's list.
set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME ombrel_tuk-${PROJECT_VERSION})
set(CPACK_SOURCE_INSTALLED_DIRECTORIES "")
set(CPACK_INSTALL_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/OmbrelSourceArchive.cmake)
include(CPack)
