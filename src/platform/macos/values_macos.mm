#include "platform/macos/values_macos.h"

#include <utility>

namespace zor {
namespace {

constexpr int kDeepestDictionaryNesting = 32;

// A flag is a number object too, but no number to the registry's readers.
bool isFlag(id value) { return CFGetTypeID((__bridge CFTypeRef)value) == CFBooleanGetTypeID(); }

NSDictionary* foundationDictionary(const PropertyDictionary& dictionary) {
  NSMutableDictionary* result = [NSMutableDictionary dictionaryWithCapacity:dictionary.size()];
  for (const auto& [key, value] : dictionary) {
    NSString* name = foundationString(key);
    id object = objectFromPropertyValue(value);
    if (name == nil || object == nil) return nil;
    result[name] = object;
  }
  return result;
}

std::optional<PropertyValue> propertyValue(id object, int depthLeft);

PropertyDictionary propertyDictionary(NSDictionary* dictionary, int depthLeft) {
  PropertyDictionary result;
  for (id key in dictionary) {
    if (![key isKindOfClass:NSString.class]) continue;
    const auto name = textFromString(key);
    auto value = propertyValue(dictionary[key], depthLeft);
    if (name.has_value() && value.has_value()) result.insert_or_assign(*name, *std::move(value));
  }
  return result;
}

std::optional<PropertyValue> propertyValue(id object, int depthLeft) {
  if ([object isKindOfClass:NSString.class]) {
    auto text = textFromString(object);
    if (!text.has_value()) return std::nullopt;
    return PropertyValue(*std::move(text));
  }
  if ([object isKindOfClass:NSNumber.class]) return PropertyValue([object doubleValue]);
  if ([object isKindOfClass:NSDate.class]) {
    return PropertyValue(Date{static_cast<NSDate*>(object).timeIntervalSince1970});
  }
  if ([object isKindOfClass:NSDictionary.class] && depthLeft > 0) {
    return PropertyValue(propertyDictionary(object, depthLeft - 1));
  }
  return std::nullopt;
}

}  // namespace

NSString* foundationString(std::string_view text) {
  return [[NSString alloc] initWithBytes:text.data()
                                  length:text.size()
                                encoding:NSUTF8StringEncoding];
}

std::optional<std::string> textFromString(NSString* text) {
  NSData* bytes = [text dataUsingEncoding:NSUTF8StringEncoding];
  if (bytes == nil) return std::nullopt;
  return std::string(static_cast<const char*>(bytes.bytes), bytes.length);
}

NSData* foundationData(const Data& data) {
  return [NSData dataWithBytes:data.data() length:data.size()];
}

Data bytesFromData(NSData* data) {
  const auto* first = static_cast<const std::uint8_t*>(data.bytes);
  return first == nullptr ? Data{} : Data(first, first + data.length);
}

std::optional<RegistryValue> registryValueFromObject(id value) {
  if (value == nil) return std::nullopt;
  if ([value isKindOfClass:NSString.class]) {
    auto text = textFromString(value);
    if (!text.has_value()) return std::nullopt;
    return RegistryValue(*std::move(text));
  }
  if ([value isKindOfClass:NSData.class]) return RegistryValue(bytesFromData(value));
  if ([value isKindOfClass:NSNumber.class] && !isFlag(value)) {
    return RegistryValue(static_cast<std::int64_t>([value longLongValue]));
  }
  return RegistryValue(RegistryOther{});
}

id objectFromPropertyValue(const PropertyValue& value) {
  if (value.text() != nullptr) return foundationString(*value.text());
  if (value.number() != nullptr) return @(*value.number());
  if (value.date() != nullptr) {
    return [NSDate dateWithTimeIntervalSince1970:value.date()->secondsSince1970];
  }
  return foundationDictionary(*value.dictionary());
}

std::optional<PropertyValue> propertyValueFromObject(id object) {
  return propertyValue(object, kDeepestDictionaryNesting);
}

}  // namespace zor
