# Makes the library target a framework: headers, version, privacy manifest.
function(zor_make_framework target)
  file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/ZORFingerPrint/*.h)
  set(manifest ${PROJECT_SOURCE_DIR}/src/platform/macos/PrivacyInfo.xcprivacy)
  target_sources(${target} PRIVATE ${headers} ${manifest})
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ZORFingerPrint
    FRAMEWORK ON
    FRAMEWORK_VERSION A
    INSTALL_NAME_DIR "@rpath"
    BUILD_WITH_INSTALL_NAME_DIR ON
    MACOSX_FRAMEWORK_IDENTIFIER com.tidewater.ZORFingerPrint
    MACOSX_FRAMEWORK_BUNDLE_VERSION ${PROJECT_VERSION}
    MACOSX_FRAMEWORK_SHORT_VERSION_STRING ${PROJECT_VERSION}
    PUBLIC_HEADER "${headers}"
    RESOURCE ${manifest})
endfunction()
