# Reads the version from the public header, the only place that holds it, into zor_version. Included
# before project(), which needs it.
set(zor_version)
foreach(part MAJOR MINOR PATCH)
  file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/../include/ZORFingerPrint/ZORVersion.h line
       REGEX "^#define ZOR_FINGERPRINT_VERSION_${part} [0-9]+$")
  string(REGEX MATCH "[0-9]+$" number "${line}")
  list(APPEND zor_version ${number})
endforeach()
list(JOIN zor_version "." zor_version)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${CMAKE_CURRENT_LIST_DIR}/../include/ZORFingerPrint/ZORVersion.h)
