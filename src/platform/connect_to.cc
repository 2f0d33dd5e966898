#include "platform/connect_to.h"

#include "support/ascii.h"
#include "support/url.h"

namespace zor {
namespace {

// The parts of `entry` between its colons; colons within brackets belong to an address.
std::vector<std::string> partsOf(const std::string& entry) {
  std::vector<std::string> parts(1);
  bool inBrackets = false;
  for (const char character : entry) {
    if (character == '[') inBrackets = true;
    if (character == ']') inBrackets = false;
    if (character == ':' && !inBrackets) {
      parts.emplace_back();
    } else {
      parts.back() += character;
    }
  }
  return parts;
}

bool isHostOrEmpty(const std::string& text) { return text.empty() || urlHost(text).has_value(); }

bool isPortOrEmpty(const std::string& text) {
  constexpr std::size_t kMaxPortDigits = 5;
  constexpr int kMaxPort = 65535;
  if (text.size() > kMaxPortDigits) return false;
  if (text.find_first_not_of("0123456789") != std::string::npos) return false;
  return text.empty() || std::stoi(text) <= kMaxPort;
}

std::string withoutBrackets(const std::string& host) {
  return host.size() >= 2 && host.front() == '[' ? host.substr(1, host.size() - 2) : host;
}

bool fits(const std::string& wanted, const std::string& asked) {
  return wanted.empty() || equalsIgnoringCase(withoutBrackets(wanted), asked);
}

}  // namespace

bool isConnectToEntry(const std::string& entry) {
  const auto parts = partsOf(entry);
  return parts.size() == 4 && isHostOrEmpty(parts[0]) && isPortOrEmpty(parts[1]) &&
         isHostOrEmpty(parts[2]) && isPortOrEmpty(parts[3]);
}

Endpoint connectEndpoint(const std::vector<std::string>& entries, const Endpoint& asked) {
  for (const std::string& entry : entries) {
    if (!isConnectToEntry(entry)) continue;
    const auto parts = partsOf(entry);
    if (!fits(parts[0], asked.host) || !fits(parts[1], asked.port)) continue;
    return {parts[2].empty() ? asked.host : withoutBrackets(parts[2]),
            parts[3].empty() ? asked.port : parts[3]};
  }
  return asked;
}

}  // namespace zor
