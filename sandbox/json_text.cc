#include "sandbox/json_text.h"

namespace zor::sandbox {

std::optional<Json> readJson(std::string_view text) {
  constexpr int kDeepest = 256;
  bool tooDeep = false;
  Json value = Json::parse(
      text,
      [&tooDeep](int depth, Json::parse_event_t, const Json&) {
        tooDeep = tooDeep || depth > kDeepest;
        return !tooDeep;
      },
      false);
  if (tooDeep || value.is_discarded()) return std::nullopt;
  return value;
}

std::string compactText(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace zor::sandbox
