# What `cmake --install` installs where, and the CMake package and pkg-config module for hosts.
include(CMakePackageConfigHelpers)

set(zor_frameworks_dir Library/Frameworks)
set(zor_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zorfingerprint)
if(ZOR_PLATFORM STREQUAL "macos")  # Headers and library are in the framework.
  set(zor_headers_dir ${zor_frameworks_dir})
  set(zor_include_dir ${zor_frameworks_dir}/ZORFingerPrint.framework)
  set(ZOR_PC_CFLAGS "-F\${headersdir}")
  set(ZOR_PC_LIBS "-F\${headersdir} -framework ZORFingerPrint")
else()
  set(zor_headers_dir ${CMAKE_INSTALL_INCLUDEDIR})
  set(zor_include_dir ${CMAKE_INSTALL_INCLUDEDIR})
  set(ZOR_PC_CFLAGS "-I\${headersdir}")
  set(ZOR_PC_LIBS "-L\${libdir} -lzorfingerprint")
endif()
cmake_path(ABSOLUTE_PATH zor_headers_dir BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH ZOR_PC_TO_HEADERS ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${zor_headers_dir})
configure_file(${PROJECT_SOURCE_DIR}/packaging/zorfingerprint.pc.in
  ${PROJECT_BINARY_DIR}/packaging/zorfingerprint.pc @ONLY)
configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/zorfingerprintConfig.cmake.in
  ${PROJECT_BINARY_DIR}/packaging/zorfingerprintConfig.cmake INSTALL_DESTINATION ${zor_package_dir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/zorfingerprintConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)

install(TARGETS zorfingerprint EXPORT zorfingerprintTargets
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
  FRAMEWORK COMPONENT runtime DESTINATION ${zor_frameworks_dir}
  INCLUDES DESTINATION ${zor_include_dir})
if(ZOR_PLATFORM STREQUAL "linux")
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ZORFingerPrint TYPE INCLUDE COMPONENT development)
endif()
install(EXPORT zorfingerprintTargets NAMESPACE zor:: DESTINATION ${zor_package_dir}
  COMPONENT development)
install(FILES
  ${PROJECT_BINARY_DIR}/packaging/zorfingerprintConfig.cmake
  ${PROJECT_BINARY_DIR}/packaging/zorfingerprintConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/ZorEmbedBundleInfo.cmake
  DESTINATION ${zor_package_dir} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/packaging/zorfingerprint.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
# What the library discloses, for programs.
install(FILES ${PROJECT_SOURCE_DIR}/docs/entries.json
  DESTINATION ${CMAKE_INSTALL_DATADIR}/zorfingerprint COMPONENT development)
