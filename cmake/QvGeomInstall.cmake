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

# Its paths are relative to the file itself, so the prefix may be chosen or moved after configuring.
set(pcDir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pcToPrefix ${pcDir} ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH pcToLib ${pcDir} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH pcToInclude ${pcDir} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/qvgeom.pc.in qvgeom.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qvgeom.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
