#include "platform/linux/system_texts.h"

#include <charconv>
#include <limits>

#include "platform/linux/text_lines.h"
#include "support/ascii.h"
#include "support/text.h"

namespace zor {
namespace {

std::optional<std::string> presentText(std::string text) {
  if (text.empty() || !isValidUtf8(text)) return std::nullopt;
  return text;
}

// A value as a shell reads it: without its quotes, and with a backslash escaping the next
// character.
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

std::optional<std::string> firstField(std::string_view content, std::string_view field) {
  for (const std::string_view line : lines(content)) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos || trimmed(line.substr(0, colon)) != field) continue;
    return presentText(std::string(trimmed(line.substr(colon + 1))));
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
  // Of each family: x86, 32-bit ARM and others; LoongArch; MIPS; POWER and SPARC; RISC-V by its
  // design, else by its instructions; older ARM; z/Architecture.
  for (const char* field :
       {"model name", "Model Name", "cpu model", "cpu", "uarch", "isa", "Processor", "vendor_id"}) {
    if (auto model = firstField(content, field)) return model;
  }
  const auto maker = firstField(content, "CPU implementer");
  const auto part = firstField(content, "CPU part");
  if (!maker || !part) return std::nullopt;
  return "CPU implementer " + *maker + " part " + *part;
}

std::int64_t memoryOfBlocks(std::string_view blockSize, std::uint64_t links) {
  constexpr std::uint64_t kOwnLinks = 2;
  const std::string_view digits = trimmed(blockSize);
  std::uint64_t blockBytes = 0;
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, blockBytes, 16);
  const bool readable = result.ec == std::errc() && result.ptr == end && links > kOwnLinks;
  constexpr auto kMaxBytes = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (!readable || blockBytes > kMaxBytes / (links - kOwnLinks)) return 0;
  return static_cast<std::int64_t>(blockBytes * (links - kOwnLinks));
}

}  // namespace zor
