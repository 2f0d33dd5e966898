// The interface between the URL-loading backend and its private module. Both come from one build;
// objects cross the boundary in both directions, exceptions do not.
#ifndef ZOR_PLATFORM_LINUX_NET_NET_MODULE_H_
#define ZOR_PLATFORM_LINUX_NET_NET_MODULE_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/url_loading_port.h"

namespace zor::net {

class LibraryGate;

struct Failure {
  URLErrorCode code = URLErrorCode::unknown;
  std::string description;  // For people; without addresses.
};

// How an exchange ended. The body is present exactly if the exchange succeeded; the response also
// if it arrived before a failure.
struct ExchangeResult {
  std::optional<Data> body;
  std::optional<URLResponse> response;
  std::optional<Failure> failure;
};

// One exchange as the backend hands it over. Used by one thread of the loader at a time.
class Exchange {
 public:
  virtual ~Exchange() = default;
  // Constant.
  virtual const URLRequest& request() const = 0;
  // As LinuxURLLoadingOptions::connectTo. Constant.
  virtual const std::vector<std::string>& connectTo() const = 0;
  // The delegate that answers challenges; null if it is gone.
  virtual std::shared_ptr<URLSessionDelegate> delegate() const = 0;
  // Called exactly once, with no lock held; throws nothing.
  virtual void finish(ExchangeResult outcome) noexcept = 0;
};

// Runs exchanges on one thread of its own, which starts when there is work and ends when there has
// been none for a while. Never destroyed. One for each process: the child of a fork makes its own
// and does not touch its parent's, nor the exchanges in it.
class Loader {
 public:
  virtual ~Loader() = default;
  // Returns at once. Callable from any thread.
  virtual void start(std::unique_ptr<Exchange> exchange) noexcept = 0;
};

// What the module exports.
struct Module {
  // Identifies the build that made the module. If it differs from the caller's, nothing else here
  // may be used.
  const char* interfaceDigest;
  // Makes the loader of the calling process, which uses `gate`; null: the libraries cannot be set
  // up. Called from inside the gate, once in each process if that succeeds.
  Loader* (*makeLoader)(LibraryGate& gate) noexcept;
};

// The one exported function, `zor_net_module`. Never returns null.
using ModuleFunction = const Module* (*)();

}  // namespace zor::net

#endif  // ZOR_PLATFORM_LINUX_NET_NET_MODULE_H_
