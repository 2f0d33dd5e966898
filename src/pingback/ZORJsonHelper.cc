#include <ZORFingerPrint/ZORJsonHelper.h>

#include <string_view>

#include "literals/literals.h"
#include "platform/log.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

// The compact JSON of an array or a dictionary, the only values that may stand at the top.
template <typename HiddenLine>
std::optional<std::string> written(const Json& value, const HiddenLine& diagnostic) {
  auto text = value.is_structured() ? serializeJson(value) : std::nullopt;
  if (!text) logLine(diagnostic.str());
  return text;
}

template <typename HiddenLine>
std::optional<Data> writtenBytes(const Json& value, const HiddenLine& diagnostic) {
  const auto text = written(value, diagnostic);
  if (!text) return std::nullopt;
  return utf8Bytes(*text);
}

template <typename HiddenLine>
std::optional<Json> parsed(std::string_view text, const HiddenLine& diagnostic) {
  auto value = parseJson(text);
  if (!value) logLine(diagnostic.str());
  return value;
}

}  // namespace

std::optional<Data> zorsec_JSONData(const std::string& text) {
  return writtenBytes(Json(text), literals::kLogStringToData);
}

std::optional<std::string> zorsec_JSONString(const std::string& text) {
  // Deliberate: the text of the bytes, whether there are any or not.
  return textFromUtf8(zorsec_JSONData(text).value_or(Data{}));
}

std::optional<Data> zorsec_JSONData(const Json& collection) {
  if (collection.is_array()) return writtenBytes(collection, literals::kLogArrayToData);
  return writtenBytes(collection, literals::kLogDictionaryToData);
}

std::optional<std::string> zorsec_JSONString(const Json& collection) {
  if (collection.is_array()) return written(collection, literals::kLogArrayToData);
  return written(collection, literals::kLogDictionaryToData);
}

std::optional<Json> zorsec_objectFromJSONString(const std::string& text) {
  return parsed(text, literals::kLogStringToObject);
}

std::optional<Json> zorsec_mutableObjectFromJSONString(const std::string& text) {
  return parsed(text, literals::kLogStringToMutableObject);
}

std::optional<Json> zorsec_objectFromJSONData(const Data& data) {
  return parsed(textOf(data), literals::kLogDataToObject);
}

std::optional<Json> zorsec_mutableObjectFromJSONData(const Data& data) {
  return parsed(textOf(data), literals::kLogDataToMutableObject);
}

std::optional<std::string> ZORJsonHelper::zorsec_JSONStringWithDic(
    const std::optional<Json>& dictionary) {
  if (!dictionary) return std::nullopt;
  return written(*dictionary, literals::kLogHelperDictionaryToData);
}

std::optional<Data> ZORJsonHelper::zorsec_JSONDataWithDic(const std::optional<Json>& dictionary) {
  // Deliberate: no look at whether there is a dictionary; the writer refuses what is none.
  return writtenBytes(dictionary ? *dictionary : Json(), literals::kLogHelperDictionaryToData);
}

std::optional<Json> ZORJsonHelper::zorsec_objectFromJSONStringWithStr(
    const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  return parsed(*text, literals::kLogHelperStringToObject);
}

std::optional<Data> ZORJsonHelper::zorsec_JSONDataWithArray(const std::optional<Json>& array) {
  if (!array) return std::nullopt;
  return writtenBytes(*array, literals::kLogHelperArrayToData);
}

}  // namespace zor
