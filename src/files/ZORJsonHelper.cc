#include <ZORFingerPrint/ZORJsonHelper.h>

#include <string_view>

#include "literals/literals.h"
#include "platform/log.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

bool isCollection(const ZORValue& value) { return value.isArray() || value.isDictionary(); }

// The compact JSON of an array or a dictionary, the only values that may stand at the top.
template <typename HiddenLine>
std::optional<std::string> written(const ZORValue& value, const HiddenLine& diagnostic) {
  auto text = isCollection(value) ? jsonFromValue(value) : std::nullopt;
  if (!text) logLine(diagnostic.str());
  return text;
}

template <typename HiddenLine>
std::optional<Data> writtenBytes(const ZORValue& value, const HiddenLine& diagnostic) {
  const auto text = written(value, diagnostic);
  if (!text) return std::nullopt;
  return utf8Bytes(*text);
}

template <typename HiddenLine>
std::optional<ZORValue> parsed(std::string_view text, const HiddenLine& diagnostic) {
  auto value = valueFromJson(text);
  if (!value) logLine(diagnostic.str());
  return value;
}

// An empty text is not JSON either.
std::string_view textOrNone(const char* text) {
  return text != nullptr ? text : std::string_view();
}

}  // namespace

std::optional<Data> zorsec_JSONData(const std::string& text) {
  return writtenBytes(text, literals::kLogStringToData);
}

std::optional<std::string> zorsec_JSONString(const std::string& text) {
  // Deliberate: the text of the bytes, whether there are any or not.
  return textFromUtf8(zorsec_JSONData(text).value_or(Data{}));
}

std::optional<Data> zorsec_JSONData(const char* text) {
  return writtenBytes(text, literals::kLogStringToData);
}

std::optional<std::string> zorsec_JSONString(const char* text) {
  if (text != nullptr) return zorsec_JSONString(std::string(text));
  logLine(literals::kLogStringToData.str());
  return std::nullopt;
}

std::optional<Data> zorsec_JSONData(const ZORValue& collection) {
  if (collection.isArray()) return writtenBytes(collection, literals::kLogArrayToData);
  return writtenBytes(collection, literals::kLogDictionaryToData);
}

std::optional<std::string> zorsec_JSONString(const ZORValue& collection) {
  if (collection.isArray()) return written(collection, literals::kLogArrayToData);
  return written(collection, literals::kLogDictionaryToData);
}

std::optional<ZORValue> zorsec_objectFromJSONString(const std::string& text) {
  return parsed(text, literals::kLogStringToObject);
}

std::optional<ZORValue> zorsec_objectFromJSONString(const char* text) {
  return parsed(textOrNone(text), literals::kLogStringToObject);
}

std::optional<ZORValue> zorsec_mutableObjectFromJSONString(const std::string& text) {
  return parsed(text, literals::kLogStringToMutableObject);
}

std::optional<ZORValue> zorsec_mutableObjectFromJSONString(const char* text) {
  return parsed(textOrNone(text), literals::kLogStringToMutableObject);
}

std::optional<ZORValue> zorsec_objectFromJSONData(const Data& data) {
  return parsed(textOf(data), literals::kLogDataToObject);
}

std::optional<ZORValue> zorsec_mutableObjectFromJSONData(const Data& data) {
  return parsed(textOf(data), literals::kLogDataToMutableObject);
}

std::optional<std::string> ZORJsonHelper::zorsec_JSONStringWithDic(
    const std::optional<ZORValue>& dictionary) {
  if (!dictionary) return std::nullopt;
  return written(*dictionary, literals::kLogHelperDictionaryToData);
}

std::optional<Data> ZORJsonHelper::zorsec_JSONDataWithDic(
    const std::optional<ZORValue>& dictionary) {
  // Deliberate: does not check for a dictionary; the writer refuses anything else.
  return writtenBytes(ZORValue::orNull(dictionary), literals::kLogHelperDictionaryToData);
}

std::optional<ZORValue> ZORJsonHelper::zorsec_objectFromJSONStringWithStr(
    const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  return parsed(*text, literals::kLogHelperStringToObject);
}

std::optional<ZORValue> ZORJsonHelper::zorsec_objectFromJSONStringWithStr(const char* text) {
  return zorsec_objectFromJSONStringWithStr(text != nullptr ? std::optional<std::string>(text)
                                                            : std::nullopt);
}

std::optional<Data> ZORJsonHelper::zorsec_JSONDataWithArray(const std::optional<ZORValue>& array) {
  if (!array) return std::nullopt;
  return writtenBytes(*array, literals::kLogHelperArrayToData);
}

}  // namespace zor
