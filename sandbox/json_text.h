// Reads JSON that anybody may have sent, and writes it.
#ifndef ZOR_SANDBOX_JSON_TEXT_H_
#define ZOR_SANDBOX_JSON_TEXT_H_

#include <optional>
#include <string>
#include <string_view>

#include "sandbox/sandbox_types.h"

namespace zor::sandbox {

// nullopt: no JSON, or nested so deeply that handling it would use up the stack.
std::optional<Json> readJson(std::string_view text);

// JSON as compact text; bytes that are no UTF-8 are replaced.
std::string compactText(const Json& value);

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_JSON_TEXT_H_
