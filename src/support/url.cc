#include "support/url.h"

#include <algorithm>
#include <cstddef>

#include "support/ascii.h"

namespace zor {
namespace {

constexpr std::size_t kMaxHostNameBytes = 253;
constexpr std::size_t kMaxLabelBytes = 63;
constexpr std::size_t kAddressGroups = 8;

bool isNameCharacter(char c) { return isLetter(c) || isDigit(c) || c == '-' || c == '_'; }

// Takes the text up to the first `separator`, or all of it, off the front of `text`.
std::string_view takePiece(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view piece = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return piece;
}

bool isOctet(std::string_view text) {
  if (text.empty() || text.size() > 3 || !std::all_of(text.begin(), text.end(), isDigit)) {
    return false;
  }
  if (text.size() > 1 && text[0] == '0') return false;  // Some parsers read it as octal.
  int value = 0;
  for (const char digit : text) value = value * 10 + (digit - '0');
  return value <= 255;
}

bool isDottedQuad(std::string_view text) {
  if (std::count(text.begin(), text.end(), '.') != 3 || text.back() == '.') return false;
  while (!text.empty()) {
    if (!isOctet(takePiece(text, '.'))) return false;
  }
  return true;
}

// Whether an address parser could take `label`, the last label of a name, for a number.
bool isNumber(std::string_view label) {
  if (std::all_of(label.begin(), label.end(), isDigit)) return true;
  return label.size() >= 2 && label[0] == '0' && (label[1] == 'x' || label[1] == 'X') &&
         std::all_of(label.begin() + 2, label.end(), isHexDigit);
}

bool isName(std::string_view text) {
  if (!text.empty() && text.back() == '.') text.remove_suffix(1);
  if (text.empty() || text.size() > kMaxHostNameBytes || text.back() == '.') return false;
  std::string_view label;
  while (!text.empty()) {
    label = takePiece(text, '.');
    if (label.empty() || label.size() > kMaxLabelBytes) return false;
    if (!std::all_of(label.begin(), label.end(), isNameCharacter)) return false;
  }
  return !isNumber(label);
}

// The 16-bit groups that `text`, one side of "::" or a whole address, stands for; nullopt when it
// is not a list of them. A dotted quad at the end of the address counts as two.
std::optional<std::size_t> countGroups(std::string_view text, bool atEnd) {
  std::size_t groups = 0;
  while (!text.empty()) {
    const bool last = text.find(':') == std::string_view::npos;
    if (!last && text.back() == ':') return std::nullopt;
    const std::string_view group = takePiece(text, ':');
    if (last && atEnd && !group.empty() && isDottedQuad(group)) return groups + 2;
    if (group.empty() || group.size() > 4) return std::nullopt;
    if (!std::all_of(group.begin(), group.end(), isHexDigit)) return std::nullopt;
    ++groups;
  }
  return groups;
}

bool isIPv6Literal(std::string_view text) {
  const std::size_t gap = text.find("::");
  if (gap == std::string_view::npos) {
    return text.find(':') != std::string_view::npos && countGroups(text, true) == kAddressGroups;
  }
  const auto before = countGroups(text.substr(0, gap), false);
  const auto after = countGroups(text.substr(gap + 2), true);
  return before && after && *before + *after < kAddressGroups;
}

bool isBracketed(std::string_view text) {
  return text.size() > 2 && text.front() == '[' && text.back() == ']';
}

// Characters that are not allowed in a URL, and those that some parsers read as other characters.
bool isForbidden(char c) {
  return static_cast<unsigned char>(c) <= ' ' || static_cast<unsigned char>(c) >= 0x7F || c == '\\';
}

bool isScheme(std::string_view text) {
  return !text.empty() && isLetter(text[0]) && std::all_of(text.begin(), text.end(), [](char c) {
    return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
  });
}

// Where the host component, brackets included, lies in `url`.
struct HostPlace {
  std::size_t start = 0;
  std::size_t length = 0;
};

std::optional<HostPlace> findHost(std::string_view url) {
  if (std::any_of(url.begin(), url.end(), isForbidden)) return std::nullopt;
  const std::size_t schemeEnd = url.find("://");
  if (schemeEnd == std::string_view::npos || !isScheme(url.substr(0, schemeEnd))) {
    return std::nullopt;
  }
  std::size_t start = schemeEnd + 3;
  std::string_view authority = url.substr(start);
  authority = authority.substr(0, authority.find_first_of("/?#"));
  if (const std::size_t at = authority.find('@'); at != std::string_view::npos) {
    authority.remove_prefix(at + 1);
    start += at + 1;
  }
  const std::size_t bracket = authority.rfind(']');
  const std::size_t colon =
      authority.find(':', bracket == std::string_view::npos ? 0 : bracket + 1);
  const std::string_view host = authority.substr(0, colon);
  if (colon != std::string_view::npos) {
    const std::string_view port = authority.substr(colon + 1);
    if (!std::all_of(port.begin(), port.end(), isDigit)) return std::nullopt;
  }
  const bool valid = isBracketed(host) ? isIPv6Literal(host.substr(1, host.size() - 2))
                                       : isName(host) || (!host.empty() && isDottedQuad(host));
  if (!valid) return std::nullopt;  // This rejects a second "@" too.
  return HostPlace{start, host.size()};
}

}  // namespace

std::optional<std::string> urlHost(std::string_view host) {
  if (isName(host)) return std::string(host);
  return urlAddress(host);
}

std::optional<std::string> urlAddress(std::string_view address) {
  if (!address.empty() && isDottedQuad(address)) return std::string(address);
  if (isBracketed(address)) address = address.substr(1, address.size() - 2);
  if (!isIPv6Literal(address)) return std::nullopt;
  return "[" + std::string(address) + "]";
}

std::optional<std::string> urlByReplacingHost(const std::string& url, const std::string& address) {
  const auto place = findHost(url);
  const auto replacement = urlAddress(address);
  if (!place || !replacement) return std::nullopt;
  std::string result = url;
  result.replace(place->start, place->length, *replacement);
  return result;
}

std::optional<std::string> hostOfUrl(const std::string& url) {
  const auto place = findHost(url);
  if (!place) return std::nullopt;
  const std::string host = url.substr(place->start, place->length);
  return isBracketed(host) ? host.substr(1, host.size() - 2) : host;
}

}  // namespace zor
