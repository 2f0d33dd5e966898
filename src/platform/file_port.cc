#include "platform/file_port.h"

namespace zor {

std::string pathByAppending(const std::string& directory, const std::string& name) {
  const std::size_t end = directory.find_last_not_of('/');
  const std::size_t start = name.find_first_not_of('/');
  return directory.substr(0, end == std::string::npos ? 0 : end + 1) + "/" +
         (start == std::string::npos ? "" : name.substr(start));
}

}  // namespace zor
