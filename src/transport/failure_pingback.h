// The transport's reports of its own failures.
#ifndef ZOR_TRANSPORT_FAILURE_PINGBACK_H_
#define ZOR_TRANSPORT_FAILURE_PINGBACK_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/url_loading_port.h"

namespace zor {

// Reports a failed exchange. `format` takes the response's status, the error's domain, code and
// description, and `subject`, the host or URL concerned. Without a response the status is 0;
// without an error its texts are absent and its code is 0. Callable from any thread; returns at
// once.
void sendExchangePingback(const std::string& errorType, std::string_view format,
                          const std::optional<URLResponse>& response,
                          const std::optional<ZORError>& error,
                          const std::optional<std::string>& subject);

// As above, for a `format` without the status.
void sendErrorPingback(const std::string& errorType, std::string_view format,
                       const std::optional<ZORError>& error, const std::string& subject);

}  // namespace zor

#endif  // ZOR_TRANSPORT_FAILURE_PINGBACK_H_
