#include "support/json_codec.h"

#include <cmath>

namespace zor {
namespace {

// Walks a value with a bounded recursion; the JSON library's own writer would recurse without one.
bool isWritable(const Json& value, int depthLeft) {
  switch (value.type()) {
    case Json::value_t::number_float:
      return std::isfinite(value.get<double>());
    case Json::value_t::binary:
    case Json::value_t::discarded:
      return false;
    case Json::value_t::array:
    case Json::value_t::object:
      if (depthLeft == 0) return false;
      for (const Json& element : value) {
        if (!isWritable(element, depthLeft - 1)) return false;
      }
      return true;
    default:
      return true;
  }
}

// Refuses a text before any value is built from it when it nests too deeply.
bool nestsTooDeeply(std::string_view text) {
  int depth = 0;
  bool inString = false;
  for (std::size_t index = 0; index < text.size(); ++index) {
    const char character = text[index];
    if (inString) {
      if (character == '\\') ++index;
      if (character == '"') inString = false;
    } else if (character == '"') {
      inString = true;
    } else if (character == '[' || character == '{') {
      if (++depth > kDeepestJsonNesting) return true;
    } else if (character == ']' || character == '}') {
      --depth;
    }
  }
  return false;
}

}  // namespace

std::optional<Json> parseJson(std::string_view text) {
  // The parser takes a NUL for the end of its input and would not look at what follows.
  if (text.find('\0') != std::string_view::npos || nestsTooDeeply(text)) return std::nullopt;
  try {
    Json value = Json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
    if (value.is_discarded()) return std::nullopt;
    return value;
  } catch (const std::exception&) {  // Memory ran out.
    return std::nullopt;
  }
}

std::optional<std::string> serializeJson(const Json& value) {
  if (!isWritable(value, kDeepestJsonNesting)) return std::nullopt;
  try {
    return value.dump();
  } catch (const std::exception&) {  // Ill-formed UTF-8, or memory ran out.
    return std::nullopt;
  }
}

}  // namespace zor
