# What `cmake --install` puts where, and the two ways in which a host finds it.
include(CMakePackageConfigHelpers)

set(zor_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zorfingerprint)
file(RELATIVE_PATH ZOR_PC_TO_INCLUDE
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(${PROJECT_SOURCE_DIR}/packaging/zorfingerprint.pc.in
  ${PROJECT_BINARY_DIR}/packaging/zorfingerprint.pc @ONLY)
configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/zorfingerprintConfig.cmake.in
  ${PROJECT_BINARY_DIR}/packaging/zorfingerprintConfig.cmake INSTALL_DESTINATION ${zor_package_dir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/zorfingerprintConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)

install(TARGETS zorfingerprint EXPORT zorfingerprintTargets
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ZORFingerPrint TYPE INCLUDE COMPONENT development)
install(EXPORT zorfingerprintTargets NAMESPACE zor:: DESTINATION ${zor_package_dir}
  COMPONENT development)
install(FILES
  ${PROJECT_BINARY_DIR}/packaging/zorfingerprintConfig.cmake
  ${PROJECT_BINARY_DIR}/packaging/zorfingerprintConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/ZorEmbedBundleInfo.cmake
  DESTINATION ${zor_package_dir} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/packaging/zorfingerprint.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
