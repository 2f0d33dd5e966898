// Asks the HTTP-based DNS service for addresses of hosts that cannot be reached by name.
#ifndef ZOR_TRANSPORT_ZORHTTPDNSMANAGER_H_
#define ZOR_TRANSPORT_ZORHTTPDNSMANAGER_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/url_loading_port.h"
#include "support/mutex.h"
#include "support/process_generation.h"
#include "transport/ZORHttpDnsConfig.h"

namespace zor {

class ZORHttpsURLSession;

// The URL that `format` makes from the service's address and a host to ask for; nullopt if one of
// them is missing or is neither an address nor a host, so that neither can change what surrounds
// it.
std::optional<std::string> httpDnsUrl(std::string_view format,
                                      const std::optional<std::string>& address,
                                      const std::string& host);

// The addresses that an answer names, unchanged; each may be empty or not an address. Empty pieces
// are kept. The result is empty if the answer has no content.
std::vector<std::string> httpDnsAddresses(const URLResponse& response);

// The resolver. The service is itself reached by name: that name is resolved first, through the
// service at one of its fixed addresses, and a host then at the first address of the answer.
// Answers are kept as long as the resolver lives.
//
// A failed look-up is repeated at once, but only twice between two successes: one counter serves
// all hosts.
//
// Threads: every member may be called from any thread. Blocks run with no lock held, on
// zor_httpsOperationQueue() or, where the answer is already known, on the calling thread.
// Fork: a child starts with nothing known and no look-up under way.
class ZORHTTPDNSManager final : public std::enable_shared_from_this<ZORHTTPDNSManager> {
  struct Private {};

 public:
  // Gets the addresses as the service gave them: at least one, each possibly empty or not an
  // address.
  using SuccessBlock = std::function<void(const std::vector<std::string>& ips)>;
  // Gets the reason why there are none; absent if the service answered with a status other than
  // 200.
  using FailureBlock = std::function<void(const std::optional<ZORError>& error)>;

  // The resolver of the process, made at the first call and never released.
  static std::shared_ptr<ZORHTTPDNSManager> sharedInstance();

  // A separate resolver, for a caller with another service. Never null.
  static std::shared_ptr<ZORHTTPDNSManager> create(
      ZORHttpDnsConfig config = ZORHttpDnsConfig::defaultConfig());
  ZORHTTPDNSManager(Private, ZORHttpDnsConfig config);  // For create() only.
  ~ZORHTTPDNSManager();

  using Deadline = std::optional<std::chrono::steady_clock::time_point>;

  // Calls one of the blocks when the addresses of `host` are known or cannot be obtained.
  // Concurrent requests for one host are answered together, in their order.
  // Selector: resolveIpForHost:success:failed:
  //
  // Absent:   blocks may be empty.
  // Calls:    one of the blocks, or neither when the service's fixed addresses make no URL. Without
  //           an HTTPDNS service it is the second, at once, and a failure record says so.
  // Time:     all requests sent from now on, for any caller, end at `deadline`.
  void resolveIpForHost(const std::string& host, const SuccessBlock& success,
                        const FailureBlock& failed, const Deadline& deadline = std::nullopt);

  // The known addresses of `host`; nullopt if it is not resolved. Selector: ipsForHost:
  std::optional<std::vector<std::string>> ipsForHost(const std::string& host);

  // The first address of `host`, whatever the index; nullopt if it is not resolved.
  // Selector: ipForHost:withIndex:
  std::optional<std::string> ipForHost(const std::string& host, std::int64_t index);

  // Whether no look-up for `host` is under way. Selector: checkIfNeedResolveHost:
  bool checkIfNeedResolveHost(const std::string& host);

 private:
  using ResolvedResults = std::map<std::string, std::vector<std::string>>;
  using RequestSuccess =
      std::function<void(const std::optional<Data>& body, const URLResponse& response)>;
  using RequestFailure = std::function<void(const std::optional<URLResponse>& response,
                                            const std::optional<ZORError>& error)>;

  // The callers that wait for one host.
  struct Callbacks {
    std::vector<SuccessBlock> success;
    std::vector<FailureBlock> failed;
  };

  // Resolves the service first if it is not resolved yet.
  void resolveHttpDnsForHostIfNeed(const std::string& host);
  // Selector: addResolveCallback:failed:forHost:
  void addResolveCallback(const SuccessBlock& success, const FailureBlock& failed,
                          const std::string& host);
  // Starts the look-up of the service's own host unless one is under way.
  void resolveHttpDns();
  // Starts the look-up of `host` unless one is under way, known or not.
  void resolveHost(const std::string& host);
  // Selector: sendResolveRequest:forHost:
  void sendResolveRequest(URLRequest request, const std::string& host);
  // Selector: sendRequest:success:failed:
  void sendRequest(const URLRequest& request, const RequestSuccess& success,
                   const RequestFailure& failed);
  // Selectors: resolveHost:result: and resolveHost:failed:
  void resolveHostResult(const std::string& host, const ResolvedResults& result);
  void resolveHostFailed(const std::string& host, const std::optional<ZORError>& failed);
  // Call the waiting blocks of one kind for `host`, and drop those of the other kind. Both are
  // spelled so in the interface. Selectors: sheduleSuccessCallbackForHost:,
  // sheduleFailedCallbackForHost:withError:
  void sheduleSuccessCallbackForHost(const std::string& host);
  void sheduleFailedCallbackForHost(const std::string& host, const std::optional<ZORError>& error);

  Callbacks takeCallbacks(const std::string& host);

  // One for each process.
  struct State {
    // Guards the members below. Not recursive; never held while a request is sent or a block runs.
    // Spelled so in the interface.
    Mutex mutext{LockRank::resolver};
    // Failed look-ups since the last success, of all hosts together.
    std::int64_t _hostFailedCount ZOR_GUARDED_BY(mutext) = 0;
    Deadline _deadline ZOR_GUARDED_BY(mutext);  // Of the latest caller.
    // Hosts with a look-up under way.
    std::set<std::string> _resolvedStatus ZOR_GUARDED_BY(mutext);
    std::map<std::string, Callbacks> _callbacks ZOR_GUARDED_BY(mutext);
    ResolvedResults _resolvedResults ZOR_GUARDED_BY(mutext);
  };

  OwnedPerProcess<State> _state;
  const std::int64_t _hostRetryCount = 2;
  const ZORHttpDnsConfig _config;
  // Without an acceptHost: the service is asked by address, and a wrong answer is detected by the
  // certificate when the address is used.
  const std::shared_ptr<ZORHttpsURLSession> _session;
};

// Makes sharedInstance() answer `replacement` for its lifetime; for programs with a service of
// their own and for tests. Not to be made or destroyed while other threads use the library; scopes
// nest.
class ScopedHTTPDNSManager {
 public:
  explicit ScopedHTTPDNSManager(std::shared_ptr<ZORHTTPDNSManager> replacement);
  ~ScopedHTTPDNSManager();
  ScopedHTTPDNSManager(const ScopedHTTPDNSManager&) = delete;
  ScopedHTTPDNSManager& operator=(const ScopedHTTPDNSManager&) = delete;

 private:
  const std::shared_ptr<ZORHTTPDNSManager> _replacement;
  const std::shared_ptr<ZORHTTPDNSManager>* const _previous;
};

}  // namespace zor

#endif  // ZOR_TRANSPORT_ZORHTTPDNSMANAGER_H_
