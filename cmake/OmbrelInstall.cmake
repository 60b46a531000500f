# Installation, in components: library, headers (with what links to it), tools, plugins, docs. `cmake --install
# DIRECTORY --component NAME` takes one of them; all of them are taken without it.

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ombrel_tuk)
# Beside the library, where it looks for them of its own accord.
if(WIN32)
    set(plugin_folder ${CMAKE_INSTALL_BINDIR}/ombrel_tuk/plugins)
else()
    set(plugin_folder ${CMAKE_INSTALL_LIBDIR}/ombrel_tuk/plugins)
endif()

set(libraries ombrel_tuk)
if(TARGET ombrel_tuk_static)
    list(APPEND libraries ombrel_tuk_static)
endif()
get_target_property(main_form ombrel_tuk TYPE)
if(TARGET ombrel_tuk_static OR main_form STREQUAL "STATIC_LIBRARY")
    set(ombrel_has_archive ON)
else()
    set(ombrel_has_archive OFF)
endif()
install(TARGETS ${libraries} EXPORT ombrel_tuk-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT headers
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT headers
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT headers
    FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")
install(EXPORT ombrel_tuk-targets NAMESPACE ombrel_tuk:: DESTINATION ${package_folder} COMPONENT headers)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ombrel_tuk-config.cmake.in
    ${PROJECT_BINARY_DIR}/ombrel_tuk-config.cmake INSTALL_DESTINATION ${package_folder}
    PATH_VARS plugin_folder)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ombrel_tuk-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ombrel_tuk-config.cmake ${PROJECT_BINARY_DIR}/ombrel_tuk-config-version.cmake
    DESTINATION ${package_folder} COMPONENT headers)

# The file finds its prefix from its own place, so that an installed tree can be moved.
file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
set(ombrel_private_libraries)
foreach(library ${ombrel_system_libraries})
    string(REGEX REPLACE "^Threads::Threads$" "pthread" library ${library})
    string(APPEND ombrel_private_libraries " -l${library}")
endforeach()
# Where the archive is the only form, every program needs what it needs.
set(ombrel_public_libraries)
set(ombrel_public_flags)
if(main_form STREQUAL "STATIC_LIBRARY")
    set(ombrel_public_libraries "${ombrel_private_libraries}")
    set(ombrel_public_flags " -DOMBREL_STATIC")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/ombrel_tuk.pc.in ${PROJECT_BINARY_DIR}/ombrel_tuk.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ombrel_tuk.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT headers)

if(OMBREL_BUILD_EXAMPLES)
    # They find the library from their own place, whatever the prefix is.
    file(RELATIVE_PATH libraries_from_tools /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
    set(tools ombrel_tuk_command ombrel_digest ombrel_codec ombrel_gallery status_service)
    set_target_properties(${tools} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_tools}")
    install(TARGETS ${tools} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    include(${CMAKE_CURRENT_LIST_DIR}/OmbrelPages.cmake)
endif()

get_property(plugins GLOBAL PROPERTY OMBREL_PLUGINS)
foreach(plugin ${plugins})
    install(TARGETS ${plugin} LIBRARY DESTINATION ${plugin_folder} COMPONENT plugins)
endforeach()

install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT docs)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT docs
    FILES_MATCHING PATTERN "*.md" PATTERN "*.png" PATTERN "site" EXCLUDE)

# What the last installation wrote is in its list.
if(PROJECT_IS_TOP_LEVEL)
    add_custom_target(uninstall
        COMMAND ${CMAKE_COMMAND} -DLISTS=${PROJECT_BINARY_DIR} -P ${CMAKE_CURRENT_LIST_DIR}/OmbrelUninstall.cmake
        VERBATIM)
endif()
