// Values as the files of the user defaults and the pasteboards hold them, in JSON: texts and
// numbers as they are, a date as {"$date": seconds since 1970}, a dictionary as an object. A "$" at
// the start of a dictionary's key is doubled.
#ifndef ZOR_PLATFORM_LINUX_FILED_VALUES_H_
#define ZOR_PLATFORM_LINUX_FILED_VALUES_H_

#include <ZORFingerPrint/ZORValue.h>

#include <optional>

namespace zor {

// nullopt: no file can hold it (a text that is not valid UTF-8, a number or date that is not
// finite, any other kind of value, nesting deeper than JSON is written).
std::optional<ZORValue> filedValue(const ZORValue& value);

// nullopt: a value of another kind (array, boolean, null, unknown "$" tag). Entries of such kinds
// within a dictionary are left out. `filed` comes from valueFromJson, which bounds its nesting.
std::optional<ZORValue> valueFromFiled(const ZORValue& filed);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_FILED_VALUES_H_
