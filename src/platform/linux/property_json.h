// Property values as JSON: a text and a number as they are, a date as {"$date": seconds since
// 1970}, a dictionary as an object. A key of the dictionary that begins with "$" gets a second one.
#ifndef ZOR_PLATFORM_LINUX_PROPERTY_JSON_H_
#define ZOR_PLATFORM_LINUX_PROPERTY_JSON_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>

#include "support/property_value.h"

namespace zor {

// nullopt: no JSON can hold it (a text that is no UTF-8, a number or date that is not finite,
// nesting deeper than JSON is written).
std::optional<Json> jsonFromProperty(const PropertyValue& value);

// nullopt: of another kind (array, boolean, null, unknown "$" tag). Entries of such kinds within a
// dictionary are left out. `json` comes from parseJson, which bounds its nesting.
std::optional<PropertyValue> propertyFromJson(const Json& json);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_PROPERTY_JSON_H_
