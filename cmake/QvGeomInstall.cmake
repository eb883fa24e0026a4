include(CMakePackageConfigHelpers)

set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/qvGeom)

install(TARGETS qvGeom EXPORT qvGeomTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} # for consumers whose CMake knows no file sets
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT qvGeomTargets NAMESPACE qvGeom:: DESTINATION ${packageDir})

configure_package_config_file(cmake/qvGeomConfig.cmake.in qvGeomConfig.cmake
    INSTALL_DESTINATION ${packageDir})
write_basic_package_version_file(qvGeomConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/qvGeomConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/qvGeomConfigVersion.cmake
    DESTINATION ${packageDir})

configure_file(cmake/qvgeom.pc.in qvgeom.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qvgeom.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
