#include "platform/linux/network_texts.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "literals/literals.h"
#include "platform/linux/text_lines.h"

namespace zor {
namespace {

// Columns of the kernel's tables.
constexpr std::size_t kRouteColumns = 8;
constexpr std::size_t kNameColumn = 0;
constexpr std::size_t kDestinationColumn = 1;
constexpr std::size_t kFlagsColumn = 3;
constexpr std::size_t kMetricColumn = 6;
constexpr std::size_t kMaskColumn = 7;
constexpr std::size_t kIPv6Columns = 10;
constexpr std::size_t kIPv6PrefixColumn = 1;
constexpr std::size_t kIPv6MetricColumn = 5;
constexpr std::size_t kIPv6FlagsColumn = 8;
constexpr std::size_t kIPv6NameColumn = 9;

constexpr std::uint32_t kRouteUp = 0x1;
constexpr std::uint32_t kRouteRefuses = 0x200;

std::uint32_t number(std::string_view text, int base) {
  std::uint32_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value, base);
  return value;
}

struct Route {
  std::string_view interfaceName;
  std::uint32_t metric = 0;
};

std::optional<Route> defaultRoute(const std::vector<std::string_view>& row) {
  const bool isDefault = row.size() >= kRouteColumns && row[kDestinationColumn] == "00000000" &&
                         row[kMaskColumn] == "00000000";
  if (!isDefault) return std::nullopt;
  const std::uint32_t flags = number(row[kFlagsColumn], 16);
  if ((flags & kRouteUp) == 0 || (flags & kRouteRefuses) != 0) return std::nullopt;
  return Route{row[kNameColumn], number(row[kMetricColumn], 10)};
}

std::optional<Route> defaultIPv6Route(const std::vector<std::string_view>& row) {
  const bool isDefault = row.size() >= kIPv6Columns && row[kIPv6PrefixColumn] == "00" &&
                         row.front().find_first_not_of('0') == std::string_view::npos;
  if (!isDefault) return std::nullopt;
  const std::uint32_t flags = number(row[kIPv6FlagsColumn], 16);
  if ((flags & kRouteUp) == 0 || (flags & kRouteRefuses) != 0) return std::nullopt;
  return Route{row[kIPv6NameColumn], number(row[kIPv6MetricColumn], 16)};
}

template <typename RouteOfRow>
std::optional<std::string> bestInterface(std::string_view table, RouteOfRow routeOfRow) {
  std::optional<Route> best;
  for (const std::string_view line : lines(table)) {
    const std::optional<Route> route = routeOfRow(words(line));
    if (route && (!best || route->metric < best->metric)) best = route;
  }
  if (!best) return std::nullopt;
  return std::string(best->interfaceName);
}

// The address on a line that names a server; empty for any other line. Indented lines are skipped,
// as the C library does.
std::string addressOnLine(std::string_view line) {
  const std::string_view word = literals::kResolverServerWord.view();
  line = line.substr(0, line.find('\0'));
  const bool names = line.size() > word.size() && line.substr(0, word.size()) == word &&
                     (line[word.size()] == ' ' || line[word.size()] == '\t');
  const auto row = names ? words(line.substr(word.size())) : std::vector<std::string_view>();
  return row.empty() ? std::string() : std::string(row.front());
}

std::optional<in_addr> ipv4Address(const std::string& text) {
  in_addr address{};
  // inet_aton() accepts white space after an address; the C library's own parser does not.
  const bool spaced = text.find_first_of("\r\v\f") != std::string::npos;
  if (spaced || ::inet_aton(text.c_str(), &address) == 0) return std::nullopt;
  return address;
}

bool isIPv6Address(const std::string& text) {
  in6_addr address{};
  return ::inet_pton(AF_INET6, text.substr(0, text.find('%')).c_str(), &address) == 1;
}

}  // namespace

std::optional<std::string> defaultRouteInterface(std::string_view routes,
                                                 std::string_view ipv6Routes) {
  auto name = bestInterface(routes, defaultRoute);
  return name ? name : bestInterface(ipv6Routes, defaultIPv6Route);
}

std::vector<std::string> serversInConfiguration(std::string_view configuration) {
  constexpr int kMaxServers = 3;
  std::vector<std::string> servers;
  int named = 0;
  for (const std::string_view line : lines(configuration)) {
    if (named == kMaxServers) break;
    const std::string text = addressOnLine(line);
    const auto address = ipv4Address(text);
    if (address || isIPv6Address(text)) ++named;
    if (!address || address->s_addr == htonl(INADDR_ANY)) continue;
    char quad[INET_ADDRSTRLEN];
    if (::inet_ntop(AF_INET, &*address, quad, sizeof quad) != nullptr) servers.emplace_back(quad);
  }
  return servers;
}

bool namesLocalStub(const std::vector<std::string>& servers) {
  return std::any_of(servers.begin(), servers.end(), [](const std::string& server) {
    return server == "127.0.0.53" || server == "127.0.0.54";
  });
}

}  // namespace zor
