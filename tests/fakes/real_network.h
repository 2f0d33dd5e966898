// Real URL loading on loopback for a test machine.
#ifndef ZOR_TESTS_FAKES_REAL_NETWORK_H_
#define ZOR_TESTS_FAKES_REAL_NETWORK_H_

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/traced_url_loading.h"
#include "pingback/ZORSecPingbackStore.h"
#include "platform/ports.h"
#include "transport/ZORHTTPDNSManager.h"

namespace zor::testing {

// Adds real URL loading to the ports in use, with a resolver and a file of failure records of its
// own. Its end waits until nothing of the library is at work any more: what a chain leaves behind,
// such as the fetch of the backup list, still uses the ports.
class RealNetwork {
 public:
  // `connectTo`: as in URLLoadingOptions.
  explicit RealNetwork(std::vector<std::string> connectTo)
      : _real(makeURLLoading({std::move(connectTo)})) {}
  ~RealNetwork() { _loading.waitUntilIdle(std::chrono::minutes(2)); }

 private:
  const std::unique_ptr<URLLoadingPort> _real;
  cli::TracedURLLoading _loading{*_real, nullptr};
  const ScopedPorts _scope{ports().with(_loading)};
  const ScopedPingbackStore _pingbacks;  // Its end waits for its queue.
  const ScopedHTTPDNSManager _resolver{ZORHTTPDNSManager::create()};
};

}  // namespace zor::testing

#endif  // ZOR_TESTS_FAKES_REAL_NETWORK_H_
