#include "transport/failure_pingback.h"

#include <cstdint>

#include "pingback/ZORSecPingback.h"
#include "support/text.h"

namespace zor {
namespace {

// The error class of everything that the transport reports.
constexpr std::int64_t kTransportErrorClass = 1;

}  // namespace

void sendExchangePingback(const std::string& errorType, std::string_view format,
                          const std::optional<URLResponse>& response,
                          const std::optional<ZORError>& error,
                          const std::optional<std::string>& subject) {
  const std::string status = std::to_string(response ? response->statusCode : 0);
  const ErrorTexts texts = errorTexts(error);
  ZORSecPingback::sendWithError(
      kTransportErrorClass, errorType,
      formatText(format, {status, texts.domain, texts.code, texts.description, subject}));
}

void sendErrorPingback(const std::string& errorType, std::string_view format,
                       const std::optional<ZORError>& error, const std::string& subject) {
  const ErrorTexts texts = errorTexts(error);
  ZORSecPingback::sendWithError(
      kTransportErrorClass, errorType,
      formatText(format, {texts.domain, texts.code, texts.description, subject}));
}

}  // namespace zor
