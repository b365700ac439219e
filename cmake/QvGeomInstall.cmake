include(CMakePackageConfigHelpers)

set(config_dir "${CMAKE_INSTALL_LIBDIR}/cmake/qvGeom")
install(TARGETS qvGeom EXPORT qvGeomTargets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT qvGeomTargets NAMESPACE qvGeom:: DESTINATION "${config_dir}")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/qvGeomConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/qvGeomConfig.cmake" INSTALL_DESTINATION "${config_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/qvGeomConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/qvGeomConfig.cmake" "${PROJECT_BINARY_DIR}/qvGeomConfigVersion.cmake"
  DESTINATION "${config_dir}")

# pkg-config users get relative paths from the file's own place, so that a moved tree still works.
file(RELATIVE_PATH pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file("${CMAKE_CURRENT_LIST_DIR}/qvGeom.pc.in" "${PROJECT_BINARY_DIR}/qvGeom.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/qvGeom.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

if(TARGET qvgeom)
  install(TARGETS qvgeom RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()
