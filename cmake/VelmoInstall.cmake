include(CMakePackageConfigHelpers)

install(TARGETS velmo EXPORT velmoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_INCLUDEDIR}/velmo)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmo
  FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_BINARY_DIR}/generated/velmo/Version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmo)

set(VELMO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/velmo)
install(EXPORT velmoTargets NAMESPACE velmo:: DESTINATION ${VELMO_CMAKE_DIR})
configure_package_config_file(cmake/velmoConfig.cmake.in
  ${PROJECT_BINARY_DIR}/velmoConfig.cmake INSTALL_DESTINATION ${VELMO_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/velmoConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/velmoConfig.cmake
  ${PROJECT_BINARY_DIR}/velmoConfigVersion.cmake DESTINATION ${VELMO_CMAKE_DIR})

configure_file(cmake/velmo.pc.in ${PROJECT_BINARY_DIR}/velmo.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velmo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
