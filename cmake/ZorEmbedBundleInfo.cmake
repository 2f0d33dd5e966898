# zor_embed_bundle_info(<target> IDENTIFIER <id> VERSION <short version> [BUNDLE_VERSION <number>])
#
# Gives the application <target> a bundle identifier, a CFBundleShortVersionString and a
# CFBundleVersion (default: <short version>), which the library reports. They are stored in the
# executable: in a note on Linux, in an Info.plist section on macOS. An application bundle on macOS
# has its own Info.plist and needs no call. Works in projects with C or C++ enabled.
function(zor_embed_bundle_info target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "IDENTIFIER;VERSION;BUNDLE_VERSION" "")
  if(arg_UNPARSED_ARGUMENTS OR NOT DEFINED arg_IDENTIFIER OR NOT DEFINED arg_VERSION)
    message(FATAL_ERROR "zor_embed_bundle_info needs a target, IDENTIFIER and VERSION")
  endif()
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL "EXECUTABLE")
    message(FATAL_ERROR "zor_embed_bundle_info: ${target} is not an executable")
  endif()
  if(NOT DEFINED arg_BUNDLE_VERSION)
    set(arg_BUNDLE_VERSION "${arg_VERSION}")
  endif()
  foreach(value IN ITEMS "${arg_IDENTIFIER}" "${arg_VERSION}" "${arg_BUNDLE_VERSION}")
    if(NOT value MATCHES "^[A-Za-z0-9._+~:-]+$")
      message(FATAL_ERROR "zor_embed_bundle_info: \"${value}\" has characters other than letters, digits and . _ + ~ : -")
    endif()
  endforeach()
  if(APPLE)
    _zor_embed_information_list(${target})
    return()
  endif()

  # JSON for the library, escaped for the assembler's string in C's string.
  set(quote "\\\\\\\"")
  string(CONCAT json
    "{${quote}CFBundleIdentifier${quote}:${quote}${arg_IDENTIFIER}${quote},"
    "${quote}CFBundleShortVersionString${quote}:${quote}${arg_VERSION}${quote},"
    "${quote}CFBundleVersion${quote}:${quote}${arg_BUNDLE_VERSION}${quote}}")
  get_property(languages GLOBAL PROPERTY ENABLED_LANGUAGES)
  set(extension c)
  if("CXX" IN_LIST languages)
    set(extension cc)
  endif()
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_bundle_info.${extension})
  # --gc-sections and strip keep a section of the note type.
  file(CONFIGURE OUTPUT ${source} @ONLY CONTENT [[
/* The application's identity, as an ELF note. */
__asm__(
    ".pushsection .note.zor.bundle, \"a\", %note\n"
    ".balign 4\n"
    ".long 2f - 1f, 4f - 3f, 1\n"
    "1: .asciz \"ZORBundle\"\n"
    "2: .balign 4\n"
    "3: .ascii \"@json@\"\n"
    "4: .balign 4\n"
    ".popsection\n");
]])
  target_sources(${target} PRIVATE ${source})
  set_source_files_properties(${source} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
endfunction()

# The platform reads this section of programs outside a bundle.
function(_zor_embed_information_list target)
  set(list ${CMAKE_CURRENT_BINARY_DIR}/${target}_info.plist)
  file(CONFIGURE OUTPUT ${list} @ONLY CONTENT [[
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
  <key>CFBundleIdentifier</key>
  <string>@arg_IDENTIFIER@</string>
  <key>CFBundleName</key>
  <string>@target@</string>
  <key>CFBundleShortVersionString</key>
  <string>@arg_VERSION@</string>
  <key>CFBundleVersion</key>
  <string>@arg_BUNDLE_VERSION@</string>
</dict>
</plist>
]])
  target_link_options(${target} PRIVATE "LINKER:-sectcreate,__TEXT,__info_plist,${list}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${list})
endfunction()
