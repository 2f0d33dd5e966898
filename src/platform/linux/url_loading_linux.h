// URL loading on Linux, for programs that need it with settings of their own.
#ifndef ZOR_PLATFORM_LINUX_URL_LOADING_LINUX_H_
#define ZOR_PLATFORM_LINUX_URL_LOADING_LINUX_H_

#include <memory>
#include <string>
#include <vector>

#include "platform/url_loading_port.h"

namespace zor {

struct LinuxURLLoadingOptions {
  // Connection overrides in curl's form HOST:PORT:CONNECT-HOST:CONNECT-PORT. An empty part matches
  // anything (left) or leaves it unchanged (right). URL, Host header and certificate checks are
  // unaffected.
  std::vector<std::string> connectTo;
};

// A loader with `options`. All loaders share one module, one thread and the kept connections; the
// module is opened at the first request. Where it cannot be opened each request ends with
// URLErrorCode::resourceUnavailable and a log line.
//
// Threads: callable from any thread; so are the sessions.
// Lifetime: sessions and their tasks may outlive the loader.
std::unique_ptr<URLLoadingPort> makeLinuxURLLoading(LinuxURLLoadingOptions options);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_URL_LOADING_LINUX_H_
