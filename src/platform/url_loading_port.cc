#include "platform/url_loading_port.h"

#include <algorithm>

namespace zor {
namespace {

// Header names are ASCII; the C library's conversion would follow the host's locale.
char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool isSameName(const std::string& left, const std::string& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return lowered(a) == lowered(b); });
}

}  // namespace

std::optional<std::string> URLResponse::header(const std::string& name) const {
  const auto found = std::find_if(headers.begin(), headers.end(), [&name](const auto& header) {
    return isSameName(header.first, name);
  });
  if (found == headers.end()) return std::nullopt;
  return found->second;
}

}  // namespace zor
