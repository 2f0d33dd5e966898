# Compiler settings for every target of the project, on one interface target.
add_library(zor_options INTERFACE)
target_compile_features(zor_options INTERFACE cxx_std_20)
target_compile_options(zor_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<BOOL:${ZOR_WARNINGS_AS_ERRORS}>:-Werror>
  -fvisibility=hidden -fvisibility-inlines-hidden
  -ffunction-sections -fdata-sections ${ZOR_COMPILE_OPTIONS})
target_compile_definitions(zor_options INTERFACE
  ZOR_PLATFORM_LITERALS="literals/literals_${ZOR_PLATFORM}.def")
target_include_directories(zor_options INTERFACE
  ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src ${PROJECT_BINARY_DIR}/generated)
if(ZOR_SANITIZE)
  target_compile_options(zor_options INTERFACE
    -fsanitize=${ZOR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(zor_options INTERFACE -fsanitize=${ZOR_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # g++ 12 reports overflows in instrumented string code where there are none.
    target_compile_options(zor_options INTERFACE
      -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread -Wno-maybe-uninitialized
      -Wno-restrict)
  endif()
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # At -O3, g++ 12 reports overlapping copies in its own string concatenation. It still warns.
  target_compile_options(zor_options INTERFACE -Wno-error=restrict)
endif()
if(ZOR_PLATFORM STREQUAL "linux")
  target_compile_options(zor_options INTERFACE -fno-semantic-interposition)
  target_link_options(zor_options INTERFACE -Wl,--gc-sections)
endif()
# For shared objects: no undefined symbols. With clang the sanitizers' functions stay undefined, as the
# program defines them.
set(zor_nothing_undefined -Wl,-z,defs)
if(ZOR_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  set(zor_nothing_undefined)
endif()
find_package(Threads REQUIRED)
target_link_libraries(zor_options INTERFACE Threads::Threads)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# With ZOR_PRECOMPILE, precompiles the headers that most sources include, and those given.
function(zor_precompile target)
  if(ZOR_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE ${ARGN} <functional> <map>
                              <optional> <string> <vector>)
  endif()
endfunction()
