include(CMakePackageConfigHelpers)

install(TARGETS velmo EXPORT velmoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# Public headers only. Left out: the kernel layer's launch, bodies and instantiation units,
# and what only the library's own sources read (assembly, Matrix Market values, message packing).
install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmo
  FILES_MATCHING PATTERN "*.h"
  PATTERN "kernels/spm" EXCLUDE
  PATTERN "kernels/impl" EXCLUDE
  PATTERN "kernels/openmp" EXCLUDE
  PATTERN "kernels/cuda" EXCLUDE
  PATTERN "mat/Assembly.h" EXCLUDE
  PATTERN "mat/MatrixMarketValue.h" EXCLUDE
  PATTERN "comu/Stream.h" EXCLUDE
  PATTERN "comu/MatrixStream.h" EXCLUDE
  PATTERN "mat/PartFileName.h" EXCLUDE
  PATTERN "precond/AMGCLConvert.h" EXCLUDE)
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
