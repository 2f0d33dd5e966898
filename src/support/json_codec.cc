#include "support/json_codec.h"

#include <cmath>
#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>
#include <utility>

#include "support/text.h"

namespace zor {
namespace {

using Json = nlohmann::json;

// Checks the limits before the text is parsed, by looking only at brackets and commas. Each value
// but the first follows one of them, so their number bounds the number of values.
class Limits {
 public:
  bool allow(std::string_view text) {
    bool inString = false;
    for (std::size_t index = 0; index < text.size(); ++index) {
      if (text[index] == '"') inString = !inString;
      if (inString && text[index] == '\\') ++index;
      if (!inString && !allow(text[index])) return false;
    }
    return true;
  }

 private:
  bool allow(char character) {
    const bool opens = character == '[' || character == '{';
    if (opens) ++_depth;
    if (opens || character == ',') ++_values;
    if (character == ']' || character == '}') --_depth;
    return _depth <= kMaxJsonNesting && _values <= kMaxJsonValues;
  }

  int _depth = 0;
  std::size_t _values = 1;
};

// Leaves `parsed` empty.
ZORValue valueFrom(Json& parsed) {
  switch (parsed.type()) {
    case Json::value_t::boolean:
      return parsed.get<bool>();
    case Json::value_t::number_integer:
      return parsed.get<std::int64_t>();
    case Json::value_t::number_unsigned:
      return parsed.get<std::uint64_t>();
    case Json::value_t::number_float:
      return parsed.get<double>();
    case Json::value_t::string:
      return std::move(parsed.get_ref<std::string&>());
    case Json::value_t::array: {
      ZORValue::Array elements;
      elements.reserve(parsed.size());
      for (Json& element : parsed) elements.push_back(valueFrom(element));
      return elements;
    }
    case Json::value_t::object: {
      ZORValue::Dictionary entries;
      for (auto& [key, value] : parsed.items()) entries.emplace(key, valueFrom(value));
      return entries;
    }
    default:
      return nullptr;
  }
}

// Writes a value, with a replacement for whatever JSON cannot express.
class JsonWriter {
 public:
  std::string takeText() { return std::move(_text); }
  bool usedStandIn() const { return _usedStandIn; }

  void write(const ZORValue& value, int depthLeft = kMaxJsonNesting) {
    switch (value.kind()) {
      case ZORValue::Kind::null:
        _text += "null";
        break;
      case ZORValue::Kind::boolean:
        _text += *value.boolean() ? "true" : "false";
        break;
      case ZORValue::Kind::integer:
        _text += std::to_string(*value.integer());
        break;
      case ZORValue::Kind::unsignedInteger:
        _text += std::to_string(*value.unsignedInteger());
        break;
      case ZORValue::Kind::real:
        writeReal(*value.number());
        break;
      case ZORValue::Kind::text:
        writeText(*value.text());
        break;
      case ZORValue::Kind::array:
      case ZORValue::Kind::dictionary:
        writeCollection(value, depthLeft);
        break;
      case ZORValue::Kind::data:
      case ZORValue::Kind::date:
        writeStandIn();
    }
  }

 private:
  void writeStandIn() {
    _usedStandIn = true;
    _text += "null";
  }

  void writeReal(double number) {
    if (!std::isfinite(number)) return writeStandIn();
    _text += Json(number).dump();
  }

  void writeText(const std::string& text) {
    if (isValidUtf8(text)) return writeValidText(text);
    _usedStandIn = true;
    writeValidText(wellFormedUtf8(text));
  }

  void writeValidText(std::string_view text) {
    _text += '"';
    for (const char character : text) writeCharacter(character);
    _text += '"';
  }

  void writeCharacter(char character) {
    constexpr std::string_view kEscaped = "\"\\\b\f\n\r\t";
    constexpr std::string_view kEscapes = "\"\\bfnrt";
    const auto place = kEscaped.find(character);
    if (place != std::string_view::npos) {
      (_text += '\\') += kEscapes[place];
    } else if (static_cast<unsigned char>(character) < 0x20) {
      char escape[7];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
      _text += escape;
    } else {
      _text += character;
    }
  }

  void writeCollection(const ZORValue& collection, int depthLeft) {
    if (depthLeft == 0) return writeStandIn();
    const bool isArray = collection.isArray();
    _text += isArray ? '[' : '{';
    const std::size_t start = _text.size();
    for (const ZORValue& element : collection.elements()) {
      if (_text.size() != start) _text += ',';
      write(element, depthLeft - 1);
    }
    for (const auto& [key, value] : collection.entries()) {
      if (_text.size() != start) _text += ',';
      writeText(key);
      _text += ':';
      write(value, depthLeft - 1);
    }
    _text += isArray ? ']' : '}';
  }

  std::string _text;
  bool _usedStandIn = false;
};

// Whether `value` can be written one level down.
bool isWritableAsEntry(const ZORValue& value) {
  return jsonFromValue(ZORValue::array({value})).has_value();
}

ZORValue withWritableElements(const ZORValue& value) {
  if (value.isArray()) {
    ZORValue array = ZORValue::array();
    for (const ZORValue& element : value.elements()) array.append(writableAsJson(element));
    return array;
  }
  ZORValue dictionary = ZORValue::dictionary();
  for (const auto& [key, entry] : value.entries()) {
    if (isValidUtf8(key)) dictionary.set(key, writableAsJson(entry));
  }
  return dictionary;
}

}  // namespace

std::optional<ZORValue> valueFromJson(std::string_view text) {
  // The parser takes a NUL for the end of its input and would ignore what follows.
  if (text.find('\0') != std::string_view::npos || !Limits().allow(text)) return std::nullopt;
  try {
    Json parsed = Json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
    if (parsed.is_discarded()) return std::nullopt;
    return valueFrom(parsed);
  } catch (const std::exception&) {  // Memory ran out.
    return std::nullopt;
  }
}

std::optional<std::string> jsonFromValue(const ZORValue& value) {
  try {
    JsonWriter writer;
    writer.write(value);
    if (writer.usedStandIn()) return std::nullopt;
    return writer.takeText();
  } catch (const std::exception&) {  // Memory ran out.
    return std::nullopt;
  }
}

ZORValue writableAsJson(ZORValue value) {
  if (isWritableAsEntry(value)) return value;
  if (!value.isArray() && !value.isDictionary()) return nullptr;
  ZORValue cleaned = withWritableElements(value);
  return isWritableAsEntry(cleaned) ? cleaned : nullptr;
}

std::string jsonForDisplay(const ZORValue& value) {
  JsonWriter writer;
  writer.write(value);
  return writer.takeText();
}

}  // namespace zor
