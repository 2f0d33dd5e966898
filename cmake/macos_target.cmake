# On a Mac, chooses what the library is built for: arm64 from macOS 11.0, x86-64 from 10.15, or both
# in one file from 10.15 (the compiler raises the arm64 half to 11.0). Included before project(), which
# fixes the compiler's target. If a host's project() has already fixed it, its choice is checked.
if(NOT CMAKE_HOST_APPLE)
  return()
endif()
# Empty means the architecture of the machine.
set(CMAKE_OSX_ARCHITECTURES "$ENV{CMAKE_OSX_ARCHITECTURES}" CACHE STRING
    "What to build for: arm64, x86_64, or \"arm64;x86_64\"")
set(zor_architectures ${CMAKE_OSX_ARCHITECTURES})
if(NOT zor_architectures)
  cmake_host_system_information(RESULT zor_architectures QUERY OS_PLATFORM)
endif()
foreach(architecture IN LISTS zor_architectures)
  if(NOT architecture MATCHES "^(arm64|x86_64)$")
    message(FATAL_ERROR "zorfingerprint builds for arm64 and x86_64 Macs; CMAKE_OSX_ARCHITECTURES "
                        "has \"${architecture}\". Give arm64, x86_64 or \"arm64;x86_64\".")
  endif()
endforeach()

set(zor_min_macos 11.0)
if("x86_64" IN_LIST zor_architectures)
  set(zor_min_macos 10.15)
endif()
set(zor_macos_target ${zor_min_macos})
if(DEFINED ENV{MACOSX_DEPLOYMENT_TARGET})
  set(zor_macos_target $ENV{MACOSX_DEPLOYMENT_TARGET})
endif()
set(CMAKE_OSX_DEPLOYMENT_TARGET ${zor_macos_target} CACHE STRING "The oldest macOS to build for")
# Empty in a host's build means the newest system that the compiler knows.
if(CMAKE_OSX_DEPLOYMENT_TARGET AND CMAKE_OSX_DEPLOYMENT_TARGET VERSION_LESS zor_min_macos)
  list(JOIN zor_architectures " and " zor_architectures)
  message(FATAL_ERROR "zorfingerprint for ${zor_architectures} needs macOS ${zor_min_macos} or later; "
                      "CMAKE_OSX_DEPLOYMENT_TARGET is \"${CMAKE_OSX_DEPLOYMENT_TARGET}\".")
endif()
