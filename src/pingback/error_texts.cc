#include "pingback/error_texts.h"

namespace zor {

ErrorTexts errorTexts(const std::optional<ZORError>& error) {
  if (!error) return {std::nullopt, "0", std::nullopt};
  return {error->domain, std::to_string(error->code), error->localizedDescription};
}

}  // namespace zor
