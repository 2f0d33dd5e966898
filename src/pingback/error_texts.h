// An error as arguments of the formats in which failures are described.
#ifndef ZOR_PINGBACK_ERROR_TEXTS_H_
#define ZOR_PINGBACK_ERROR_TEXTS_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>

namespace zor {

struct ErrorTexts {
  std::optional<std::string> domain;
  std::string code;
  std::optional<std::string> description;
};

// Without an error the texts are absent and the code is 0.
ErrorTexts errorTexts(const std::optional<ZORError>& error);

}  // namespace zor

#endif  // ZOR_PINGBACK_ERROR_TEXTS_H_
