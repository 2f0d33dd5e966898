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

// As the resolver reads it: up to a comment or the zone of an address.
bool isAddress(std::string_view word) {
  const std::string address(word.substr(0, word.find_first_of(";#%")));
  in_addr ipv4{};
  in6_addr ipv6{};
  return ::inet_aton(address.c_str(), &ipv4) != 0 ||
         ::inet_pton(AF_INET6, address.c_str(), &ipv6) == 1;
}

bool isServerLine(std::string_view line) {
  const auto row = words(line);
  return row.size() >= 2 && row[0] == literals::kResolverServerWord.view() && isAddress(row[1]) &&
         line.data() == row[0].data();  // The resolver skips a line that is indented.
}

}  // namespace

DesignatedInterfaces designatedAmong(std::vector<BackedInterface> interfaces) {
  std::sort(interfaces.begin(), interfaces.end(),
            [](const auto& left, const auto& right) { return left.index < right.index; });
  DesignatedInterfaces designated;
  for (const BackedInterface& interface : interfaces) {
    if (interface.wireless && !designated.second) designated.second = interface.name;
    if (!interface.wired) continue;
    auto& place = designated.first ? designated.third : designated.first;
    if (!place) place = interface.name;
  }
  return designated;
}

std::optional<std::string> defaultRouteInterface(std::string_view routes,
                                                 std::string_view ipv6Routes) {
  auto name = bestInterface(routes, defaultRoute);
  return name ? name : bestInterface(ipv6Routes, defaultIPv6Route);
}

bool namesServer(std::string_view configuration) {
  const auto found = lines(configuration);
  return std::any_of(found.begin(), found.end(), isServerLine);
}

}  // namespace zor
