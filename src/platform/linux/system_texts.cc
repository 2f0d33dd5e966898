#include "platform/linux/system_texts.h"

#include "literals/literals.h"
#include "platform/linux/text_lines.h"
#include "support/ascii.h"
#include "support/text.h"

namespace zor {
namespace {

std::optional<std::string> presentText(std::string text) {
  if (text.empty() || !isValidUtf8(text)) return std::nullopt;
  return text;
}

// A value as a shell reads it: quotes taken off, a backslash keeps the next character as it is.
std::string unquoted(std::string_view value) {
  std::string text;
  char quote = 0;
  for (std::size_t index = 0; index < value.size(); ++index) {
    const char character = value[index];
    if (character == '\\' && quote != '\'' && index + 1 < value.size()) {
      text += value[++index];
    } else if (character == quote) {
      quote = 0;
    } else if (quote == 0 && (character == '"' || character == '\'')) {
      quote = character;
    } else {
      text += character;
    }
  }
  return text;
}

std::optional<std::string> assignedValue(std::string_view content, std::string_view name) {
  for (std::string_view line : lines(content)) {
    line = trimmed(line);
    const bool assigns = line.size() > name.size() && line.substr(0, name.size()) == name &&
                         line[name.size()] == '=';
    if (assigns) return presentText(unquoted(line.substr(name.size() + 1)));
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> systemNameFromRelease(std::string_view content) {
  if (auto pretty = assignedValue(content, "PRETTY_NAME")) return pretty;
  auto name = assignedValue(content, "NAME");
  const auto version = assignedValue(content, "VERSION");
  if (name && version) *name += " " + *version;
  return name;
}

std::optional<std::string> processorModelFromList(std::string_view content) {
  const std::string_view field = literals::kCpuModelField.view();
  for (const std::string_view line : lines(content)) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos || trimmed(line.substr(0, colon)) != field) continue;
    return presentText(std::string(trimmed(line.substr(colon + 1))));
  }
  return std::nullopt;
}

}  // namespace zor
