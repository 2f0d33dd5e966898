# ZOR_PLATFORM names the backend to build, a folder in src/platform.
set(zor_platform_of_Linux linux)
set(zor_platform_of_Darwin macos)
set(ZOR_PLATFORM "${zor_platform_of_${CMAKE_SYSTEM_NAME}}" CACHE STRING
    "The platform to build for: linux or macos")
if(NOT ZOR_PLATFORM MATCHES "^(linux|macos)$")
  message(FATAL_ERROR "zorfingerprint has no backend for ${CMAKE_SYSTEM_NAME}: ZOR_PLATFORM is "
                      "\"${ZOR_PLATFORM}\" and has to be \"linux\" or \"macos\".")
endif()
