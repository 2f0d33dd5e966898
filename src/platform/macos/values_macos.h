// Converts between the library's values and Foundation's. Objective-C++ only.
//
// Callers hold an autorelease pool: the library's own threads have none. Callable from any thread.
#ifndef ZOR_PLATFORM_MACOS_VALUES_MACOS_H_
#define ZOR_PLATFORM_MACOS_VALUES_MACOS_H_

#import <Foundation/Foundation.h>

#include <ZORFingerPrint/ZORValue.h>

#include <optional>
#include <string>
#include <string_view>

namespace zor {

// nil: `text` is not valid UTF-8. NUL bytes are kept.
NSString* foundationString(std::string_view text);

// nullopt: `text` is nil or has no UTF-8 form (an unpaired surrogate).
std::optional<std::string> textFromString(NSString* text);

NSData* foundationData(const Data& data);

// The bytes of `data`; none for nil.
Data bytesFromData(NSData* data);

// A property-list object of the same kind; nil for null, which property lists do not have, and if a
// text or key in it is not valid UTF-8.
id objectFromValue(const ZORValue& value);

// nullopt: `object` is nil, or its class is neither a property-list class nor NSNull. Such members
// of a collection are left out, and so are collections nested more than 32 deep, because an archive
// may contain a cycle.
std::optional<ZORValue> valueFromObject(id object);

}  // namespace zor

#endif  // ZOR_PLATFORM_MACOS_VALUES_MACOS_H_
