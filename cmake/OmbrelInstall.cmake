# Installation: headers, the library, a CMake package and a pkg-config file.

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ombrel_tuk)

install(TARGETS ombrel_tuk EXPORT ombrel_tuk-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h")
install(EXPORT ombrel_tuk-targets NAMESPACE ombrel_tuk:: DESTINATION ${package_folder})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ombrel_tuk-config.cmake.in
    ${PROJECT_BINARY_DIR}/ombrel_tuk-config.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ombrel_tuk-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ombrel_tuk-config.cmake ${PROJECT_BINARY_DIR}/ombrel_tuk-config-version.cmake
    DESTINATION ${package_folder})

# The file finds its prefix from its own place, so that an installed tree can be moved.
file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${CMAKE_CURRENT_LIST_DIR}/ombrel_tuk.pc.in ${PROJECT_BINARY_DIR}/ombrel_tuk.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ombrel_tuk.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
