#include "transport/failure_pingback.h"

#include <cstdint>

#include "pingback/ZORSecPingback.h"
#include "support/text.h"

namespace zor {
namespace {

// The error class of everything that the transport reports.
constexpr std::int64_t kTransportErrorClass = 1;

std::optional<std::string> domainOf(const std::optional<ZORError>& error) {
  return error ? std::optional(error->domain) : std::nullopt;
}

std::string codeOf(const std::optional<ZORError>& error) {
  return std::to_string(error ? error->code : 0);
}

std::optional<std::string> descriptionOf(const std::optional<ZORError>& error) {
  return error ? std::optional(error->localizedDescription) : std::nullopt;
}

}  // namespace

void sendExchangePingback(const std::string& errorType, std::string_view format,
                          const std::optional<URLResponse>& response,
                          const std::optional<ZORError>& error,
                          const std::optional<std::string>& subject) {
  const std::string status = std::to_string(response ? response->statusCode : 0);
  ZORSecPingback::sendWithError(
      kTransportErrorClass, errorType,
      formatText(format, {status, domainOf(error), codeOf(error), descriptionOf(error), subject}));
}

void sendErrorPingback(const std::string& errorType, std::string_view format,
                       const std::optional<ZORError>& error, const std::string& subject) {
  ZORSecPingback::sendWithError(
      kTransportErrorClass, errorType,
      formatText(format, {domainOf(error), codeOf(error), descriptionOf(error), subject}));
}

}  // namespace zor
