// Values as JSON, for tests.
#ifndef ZOR_TESTS_FAKES_JSON_H_
#define ZOR_TESTS_FAKES_JSON_H_

#include <ZORFingerPrint/ZORValue.h>

#include <ostream>
#include <string_view>

#include "support/json_codec.h"

namespace zor {

// For the messages of failed expectations.
inline void PrintTo(const ZORValue& value, std::ostream* stream) {
  *stream << jsonForDisplay(value);
}

namespace testing {

// The value of a text that is JSON; null for any other.
inline ZORValue json(std::string_view text) { return ZORValue::orNull(valueFromJson(text)); }

}  // namespace testing
}  // namespace zor

#endif  // ZOR_TESTS_FAKES_JSON_H_
