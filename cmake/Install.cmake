# What a host links: library, public headers, CMake package, pkg-config file.
include(CMakePackageConfigHelpers)

set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/brvcore)
install(TARGETS brvcore EXPORT brvcoreTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILE_SET generated_headers DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
)
install(EXPORT brvcoreTargets NAMESPACE brvcore:: DESTINATION ${packageDir})

configure_package_config_file(cmake/brvcoreConfig.cmake.in brvcoreConfig.cmake INSTALL_DESTINATION ${packageDir})
write_basic_package_version_file(brvcoreConfigVersion.cmake COMPATIBILITY SameMinorVersion)   # see SOVERSION
install(FILES ${PROJECT_BINARY_DIR}/brvcoreConfig.cmake ${PROJECT_BINARY_DIR}/brvcoreConfigVersion.cmake
    DESTINATION ${packageDir})

# Relative to the file itself, so that the install tree can be moved (and staged under another prefix).
file(RELATIVE_PATH pcPrefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" pcPrefix "${pcPrefix}")
configure_file(cmake/brvcore.pc.in brvcore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/brvcore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
