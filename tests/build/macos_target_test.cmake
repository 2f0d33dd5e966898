# Which Macs the library is built for, and with which sentence others are refused. Runs anywhere.
# usage: cmake -DSOURCE=<repository> -DWORK=<scratch folder> -P macos_target_test.cmake
cmake_minimum_required(VERSION 3.25)
file(WRITE ${WORK}/target.cmake
  "cmake_minimum_required(VERSION 3.25)\n"
  "set(CMAKE_HOST_APPLE ON)\n"
  "include(${SOURCE}/cmake/macos_target.cmake)\n"
  "message(\"from \${CMAKE_OSX_DEPLOYMENT_TARGET}\")\n")

# A configure step for `architectures`, with the further `option`, says `expected`.
function(expect architectures option expected)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=MACOSX_DEPLOYMENT_TARGET
      ${CMAKE_COMMAND} "-DCMAKE_OSX_ARCHITECTURES=${architectures}" ${option}
      -P ${WORK}/target.cmake
    ERROR_VARIABLE message OUTPUT_QUIET)
  string(REGEX REPLACE "[ \n]+" " " message "${message}")
  if(NOT message MATCHES "${expected}")
    message(SEND_ERROR "\"${architectures}\" ${option}: expected \"${expected}\", got: ${message}")
  endif()
endfunction()

expect("arm64" "" "^from 11\\.0")
expect("x86_64" "" "^from 10\\.15")
expect("arm64;x86_64" "" "^from 10\\.15")
expect("arm64" "-DCMAKE_OSX_DEPLOYMENT_TARGET=14.0" "^from 14\\.0")
expect("arm64" "-DCMAKE_OSX_DEPLOYMENT_TARGET=10.15" "for arm64 needs macOS 11\\.0 or later")
expect("arm64;x86_64" "-DCMAKE_OSX_DEPLOYMENT_TARGET=10.14"
       "for arm64 and x86_64 needs macOS 10\\.15 or later")
expect("arm64;i386" "" "has \"i386\"\\. Give arm64, x86_64 or")
