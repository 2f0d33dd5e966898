#include "platform/defaults_port.h"

#include <utility>

namespace zor {

std::optional<ZORValue> DefaultsPort::objectForKey(const std::string& key) {
  auto values = read({key});
  return values ? std::move(values->front()) : std::nullopt;
}

Status DefaultsPort::setObject(const std::string& key, const ZORValue& value) {
  return change({{key, value}});
}

Status DefaultsPort::removeObject(const std::string& key) { return change({{key, std::nullopt}}); }

}  // namespace zor
