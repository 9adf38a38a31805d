# Installs libqel, its headers and a package config so that hosts can
#   find_package(QEL) and link QEL::qel.
include(CMakePackageConfigHelpers)

install(TARGETS qel EXPORT QELTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qel
  FILE_SET generated DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qel)
install(EXPORT QELTargets NAMESPACE QEL:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QEL)

configure_package_config_file(cmake/QELConfig.cmake.in
  ${PROJECT_BINARY_DIR}/QELConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QEL)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QELConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QELConfig.cmake ${PROJECT_BINARY_DIR}/QELConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QEL)
