#include "platform/url_loading_port.h"

#include <algorithm>

#include "support/ascii.h"

namespace zor {

std::optional<std::string> URLResponse::header(const std::string& name) const {
  const auto found = std::find_if(headers.begin(), headers.end(), [&name](const auto& header) {
    return equalsIgnoringCase(header.first, name);
  });
  if (found == headers.end()) return std::nullopt;
  return found->second;
}

}  // namespace zor
