#include "platform/linux/property_json.h"

#include "support/json_codec.h"

namespace zor {
namespace {

constexpr const char* kDateTag = "$date";
constexpr char kTagMark = '$';

Json encoded(const PropertyValue& value, int depthLeft);

Json encodedDictionary(const PropertyDictionary& dictionary, int depthLeft) {
  Json object = Json::object();
  for (const auto& [key, value] : dictionary) {
    const bool looksLikeTag = !key.empty() && key[0] == kTagMark;
    object[looksLikeTag ? kTagMark + key : key] = encoded(value, depthLeft);
  }
  return object;
}

// What nests too deeply becomes binary, which the writer refuses.
Json encoded(const PropertyValue& value, int depthLeft) {
  if (depthLeft == 0) return Json::binary({});
  if (value.text() != nullptr) return *value.text();
  if (value.number() != nullptr) return *value.number();
  if (value.date() != nullptr) return {{kDateTag, value.date()->secondsSince1970}};
  return encodedDictionary(*value.dictionary(), depthLeft - 1);
}

// A tagged object. Its one known form is the date.
std::optional<PropertyValue> decodedTagged(const Json& object) {
  const auto date = object.find(kDateTag);
  if (object.size() != 1 || date == object.end() || !date->is_number()) return std::nullopt;
  return Date{date->get<double>()};
}

bool isTagged(const Json& object) {
  for (const auto& [key, value] : object.items()) {
    if (!key.empty() && key[0] == kTagMark && (key.size() < 2 || key[1] != kTagMark)) return true;
  }
  return false;
}

std::optional<PropertyValue> decodedObject(const Json& object) {
  if (isTagged(object)) return decodedTagged(object);
  PropertyDictionary dictionary;
  for (const auto& [key, value] : object.items()) {
    const auto decoded = propertyFromJson(value);
    if (!decoded) continue;
    const bool wasMarked = !key.empty() && key[0] == kTagMark;
    dictionary.emplace(wasMarked ? key.substr(1) : key, *decoded);
  }
  return dictionary;
}

}  // namespace

std::optional<Json> jsonFromProperty(const PropertyValue& value) {
  // A level is left for the object that the value goes into.
  Json json = encoded(value, kDeepestJsonNesting - 2);
  if (!serializeJson(json)) return std::nullopt;
  return json;
}

std::optional<PropertyValue> propertyFromJson(const Json& json) {
  if (json.is_string()) return json.get<std::string>();
  if (json.is_number()) return json.get<double>();
  if (json.is_object()) return decodedObject(json);
  return std::nullopt;
}

}  // namespace zor
