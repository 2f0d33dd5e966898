#include "platform/macos/values_macos.h"

#include <limits>
#include <utility>

namespace zor {
namespace {

constexpr int kMaxNesting = 32;

// A flag is a number object too, but the registry's readers do not treat it as a number.
bool isFlag(id value) { return CFGetTypeID((__bridge CFTypeRef)value) == CFBooleanGetTypeID(); }

NSDictionary* foundationDictionary(const ZORValue& dictionary) {
  NSMutableDictionary* result = [NSMutableDictionary dictionaryWithCapacity:dictionary.size()];
  for (const auto& [key, value] : dictionary.entries()) {
    NSString* name = foundationString(key);
    id object = objectFromValue(value);
    if (name == nil || object == nil) return nil;
    result[name] = object;
  }
  return result;
}

NSArray* foundationArray(const ZORValue& array) {
  NSMutableArray* result = [NSMutableArray arrayWithCapacity:array.size()];
  for (const ZORValue& element : array.elements()) {
    id object = objectFromValue(element);
    if (object == nil) return nil;
    [result addObject:object];
  }
  return result;
}

ZORValue valueFromNumber(NSNumber* number) {
  if (isFlag(number)) return static_cast<bool>(number.boolValue);
  if (CFNumberIsFloatType((__bridge CFNumberRef)number)) return number.doubleValue;
  const bool isLarge =
      [number compare:@(std::numeric_limits<std::int64_t>::max())] == NSOrderedDescending;
  if (isLarge) return static_cast<std::uint64_t>(number.unsignedLongLongValue);
  return static_cast<std::int64_t>(number.longLongValue);
}

std::optional<ZORValue> nestedValue(id object, int depthLeft);

ZORValue valueFromDictionary(NSDictionary* dictionary, int depthLeft) {
  ZORValue result = ZORValue::dictionary();
  for (id key in dictionary) {
    if (![key isKindOfClass:NSString.class]) continue;
    const auto name = textFromString(key);
    auto value = nestedValue(dictionary[key], depthLeft);
    if (name.has_value() && value.has_value()) result.set(*name, *std::move(value));
  }
  return result;
}

ZORValue valueFromArray(NSArray* array, int depthLeft) {
  ZORValue result = ZORValue::array();
  for (id element in array) {
    auto value = nestedValue(element, depthLeft);
    if (value.has_value()) result.append(*std::move(value));
  }
  return result;
}

std::optional<ZORValue> nestedValue(id object, int depthLeft) {
  if ([object isKindOfClass:NSString.class]) return textFromString(object);
  if ([object isKindOfClass:NSNumber.class]) return valueFromNumber(object);
  if ([object isKindOfClass:NSData.class]) return bytesFromData(object);
  if ([object isKindOfClass:NSDate.class]) {
    return ZORDate{static_cast<NSDate*>(object).timeIntervalSince1970};
  }
  if ([object isKindOfClass:NSNull.class]) return ZORValue();
  if (depthLeft == 0) return std::nullopt;
  if ([object isKindOfClass:NSArray.class]) return valueFromArray(object, depthLeft - 1);
  if ([object isKindOfClass:NSDictionary.class]) return valueFromDictionary(object, depthLeft - 1);
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

id objectFromValue(const ZORValue& value) {
  switch (value.kind()) {
    case ZORValue::Kind::null:
      return nil;
    case ZORValue::Kind::boolean:
      return @(*value.boolean());
    case ZORValue::Kind::integer:
      return @(*value.integer());
    case ZORValue::Kind::unsignedInteger:
      return @(*value.unsignedInteger());
    case ZORValue::Kind::real:
      return @(*value.number());
    case ZORValue::Kind::text:
      return foundationString(*value.text());
    case ZORValue::Kind::data:
      return foundationData(*value.data());
    case ZORValue::Kind::date:
      return [NSDate dateWithTimeIntervalSince1970:value.date()->secondsSince1970];
    case ZORValue::Kind::array:
      return foundationArray(value);
    case ZORValue::Kind::dictionary:
      return foundationDictionary(value);
  }
}

std::optional<ZORValue> valueFromObject(id object) { return nestedValue(object, kMaxNesting); }

}  // namespace zor
