#include "platform/device_port.h"

#include "support/text.h"

namespace zor {

std::optional<std::string> propertyText(const ZORValue& value) {
  if (const std::string* text = value.text()) return *text;
  if (const Data* data = value.data()) return textFromUtf8(*data);
  return std::nullopt;
}

}  // namespace zor
