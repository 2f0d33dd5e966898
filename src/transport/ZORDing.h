// Gets a request through by other routes when the direct one fails.
#ifndef ZOR_TRANSPORT_ZORDING_H_
#define ZOR_TRANSPORT_ZORDING_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/url_loading_port.h"
#include "support/mutex.h"
#include "support/process_generation.h"

namespace zor {

class ZORHttpsURLSession;

// `request` with an address for the host in its URL, everything else is kept. If `host` is not an
// address literal (a name is not), the result has no URL, and the loader refuses it: a failed
// attempt, never a request to somewhere else.
URLRequest zor_replaceHostForRequest(const std::string& host, const URLRequest& request);

// The request runner: by name, then by an address from HTTPDNS, then by a backup address, twice
// each, and every attempt judged by the certificate of the host that the request names. Each
// request also refreshes the list of backup addresses, which the user defaults keep between runs.
//
// Threads: every member may be called from any thread; handlers run on zor_httpsOperationQueue()
// or on a thread that the resolver answers on, with no lock held.
class ZORDing final : public std::enable_shared_from_this<ZORDing> {
  struct Private {};

 public:
  // Never null. Selector: init
  static std::shared_ptr<ZORDing> create();
  explicit ZORDing(Private);  // For create() only.

  using RouteObserver = std::function<void(zor_fingerprint_route route)>;

  // Sends `request`, whose URL names the service's host, and gives `handler` the values of the last
  // attempt unchanged or, if the resolver failed and there is no backup address, those of the first
  // attempt with the resolver's error. Returns at once.
  // Selector: performRequest:completionHandler:
  //
  // Absent:   see TransportCompletion; an empty handler is allowed.
  // Calls:    the handler is called at most once; not at all when this runner is released before an
  //           attempt that is due.
  // Hosts:    one runner serves one host at a time: the host of the latest request decides which
  //           certificates are accepted for all that are under way.
  // Time:     when the request's deadline passes the handler is called at once, with the error
  //           ZOR_FINGERPRINT_ERROR_TOTAL_TIME alone, and no further attempt is made.
  // Routes:   `onRoute`, which may be empty and must not block, is told of each route when it is
  //           tried, on any thread.
  void performRequest(const URLRequest& request, const TransportCompletion& handler,
                      const RouteObserver& onRoute = {});

  // Sends `request` to that address and gives `handler` whatever comes back.
  // Selector: performRequest:usingBackupIP:completionHandler:
  void performRequestUsingBackupIP(const URLRequest& request, const std::string& backupIP,
                                   const TransportCompletion& handler);

  // Fetches the backup list once and keeps the result. Returns at once.
  void requestBackupIp();

  // Keeps the list in the body of the service's answer, or removes the kept one if the answer says
  // that there is none. Any other body, or no body, changes nothing. A list in use stays in use.
  // Selector: saveCloudBackup:
  void saveCloudBackup(const std::optional<Data>& body);

  // One of the backup addresses, each equally likely; nullopt when none is known. The kept list is
  // read until it yields addresses, then never again.
  std::optional<std::string> randomBackupIP();

  // For requests to the service, and for every attempt by address.
  const std::shared_ptr<ZORHttpsURLSession>& urlSession() const { return _urlSession; }
  // For fetching the backup list by name.
  const std::shared_ptr<ZORHttpsURLSession>& backupUrlSession() const { return _backupUrlSession; }

 private:
  struct BackupList {
    Mutex mutex{LockRank::value};
    // Null until loaded, then constant.
    std::shared_ptr<const std::vector<std::string>> _backupIPs ZOR_GUARDED_BY(mutex);
  };

  // Null: none is known.
  std::shared_ptr<const std::vector<std::string>> loadBackupIPs();

  const std::shared_ptr<ZORHttpsURLSession> _urlSession;
  const std::shared_ptr<ZORHttpsURLSession> _backupUrlSession;
  OwnedPerProcess<BackupList> _backupList;
};

}  // namespace zor

#endif  // ZOR_TRANSPORT_ZORDING_H_
