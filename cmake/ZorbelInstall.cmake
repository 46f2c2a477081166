include(CMakePackageConfigHelpers)
install(EXPORT zorbelTargets NAMESPACE zorbel:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zorbel)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/zorbelConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/zorbelConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zorbel)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zorbelConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zorbelConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/zorbelConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zorbel)
