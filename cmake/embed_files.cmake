# Makes files a part of a program. As a script:
#   cmake -DOUTPUT=<file.cc> -DFILES=<file>,<file>... -P embed_files.cmake
# writes the definition of zor::sandbox::pageFile().
set(cases "")
set(arrays "")
set(number 0)
string(REPLACE "," ";" FILES "${FILES}")
foreach(path IN LISTS FILES)
  file(READ "${path}" bytes HEX)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  get_filename_component(name "${path}" NAME)
  string(APPEND arrays "constexpr char kFile${number}[] = {${bytes}};\n")
  string(APPEND cases
    "  if (name == \"${name}\") return {kFile${number}, sizeof kFile${number}};\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE "${OUTPUT}" "// Made by CMake from the page's files.
#include \"sandbox/inspector/page_files.h\"

namespace {
${arrays}}  // namespace

std::string_view zor::sandbox::pageFile(std::string_view name) {
${cases}  return {};
}
")
