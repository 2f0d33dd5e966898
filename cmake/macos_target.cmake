# On a Mac: what the library is built for. Included before project(), where the compiler's target is
# settled.
if(NOT CMAKE_HOST_APPLE)
  return()
endif()
set(CMAKE_OSX_ARCHITECTURES "x86_64" CACHE STRING "The architecture to build for")
set(CMAKE_OSX_DEPLOYMENT_TARGET "10.15" CACHE STRING "The oldest macOS to build for")
if(NOT CMAKE_OSX_ARCHITECTURES STREQUAL "x86_64")
  message(FATAL_ERROR "zorfingerprint is for x86-64 Macs only; CMAKE_OSX_ARCHITECTURES is "
                      "\"${CMAKE_OSX_ARCHITECTURES}\" and has to be \"x86_64\".")
endif()
if(CMAKE_OSX_DEPLOYMENT_TARGET VERSION_LESS "10.15")
  message(FATAL_ERROR "zorfingerprint needs macOS 10.15 or later; CMAKE_OSX_DEPLOYMENT_TARGET is "
                      "\"${CMAKE_OSX_DEPLOYMENT_TARGET}\".")
endif()
