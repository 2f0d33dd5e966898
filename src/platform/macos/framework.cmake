# Makes the library target a framework: headers, module map, version, privacy manifest, signature.

# Hosts in C, Objective-C and Swift import the C interface; the headers in C++ are a module within it,
# for hosts that compile C++.
function(zor_write_module_map file headers)
  set(c_headers ZORErrors.h ZORFingerPrintC.h ZORVersion.h)
  set(c_lines "")
  set(cxx_lines "")
  foreach(header IN LISTS headers)
    cmake_path(GET header FILENAME name)
    if(name IN_LIST c_headers)
      string(APPEND c_lines "  header \"${name}\"\n")
    else()
      string(APPEND cxx_lines "    header \"${name}\"\n")
    endif()
  endforeach()
  file(CONFIGURE OUTPUT ${file} @ONLY CONTENT
"framework module ZORFingerPrint {
@c_lines@  export *

  explicit module CPlusPlus {
    requires cplusplus17
@cxx_lines@    export *
  }
}
")
endfunction()

# A signature seals the whole folder, so that it is made when all of it is in place and again when any
# of it changed.
function(zor_sign_framework target)
  set(ZOR_CODESIGN_IDENTITY "-" CACHE STRING
      "Who signs the framework: a certificate's name, \"-\" for nobody in particular (ad hoc), or empty for no signature")
  if(NOT ZOR_CODESIGN_IDENTITY)
    return()
  endif()
  set(sign codesign --force --sign ${ZOR_CODESIGN_IDENTITY})
  set(stamp ${CMAKE_CURRENT_BINARY_DIR}/${target}.signed)
  add_custom_command(OUTPUT ${stamp}
    COMMAND ${sign} $<TARGET_BUNDLE_DIR:${target}>
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${target} ${ARGN}
    COMMENT "Signing the framework" VERBATIM)
  add_custom_target(${target}_signed ALL DEPENDS ${stamp})
endfunction()

function(zor_make_framework target)
  file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/ZORFingerPrint/*.h)
  set(folder ${PROJECT_SOURCE_DIR}/src/platform/macos)
  set(manifest ${folder}/PrivacyInfo.xcprivacy)
  set(module_map ${PROJECT_BINARY_DIR}/generated/framework/module.modulemap)
  zor_write_module_map(${module_map} "${headers}")
  set_source_files_properties(${module_map} PROPERTIES MACOSX_PACKAGE_LOCATION Modules)
  target_sources(${target} PRIVATE ${headers} ${manifest} ${module_map})
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ZORFingerPrint
    FRAMEWORK ON
    FRAMEWORK_VERSION A
    INSTALL_NAME_DIR "@rpath"
    BUILD_WITH_INSTALL_NAME_DIR ON
    MACOSX_FRAMEWORK_INFO_PLIST ${folder}/Info.plist.in
    MACOSX_FRAMEWORK_IDENTIFIER com.tidewater.ZORFingerPrint
    MACOSX_FRAMEWORK_BUNDLE_VERSION ${PROJECT_VERSION}
    MACOSX_FRAMEWORK_SHORT_VERSION_STRING ${PROJECT_VERSION}
    PUBLIC_HEADER "${headers}"
    RESOURCE ${manifest})
  # Compilers look for it at the top; CMake makes such links for headers and resources only.
  add_custom_command(TARGET ${target} POST_BUILD VERBATIM COMMAND ${CMAKE_COMMAND} -E
    create_symlink Versions/Current/Modules $<TARGET_BUNDLE_DIR:${target}>/Modules)
  zor_sign_framework(${target} ${headers} ${manifest} ${module_map} ${folder}/Info.plist.in)
endfunction()
