// The service side of everything that the library speaks, on loopback: the fingerprint service,
// HTTPDNS, the backup addresses and the pingback upload, with answers that can be scripted.
#ifndef ZOR_SANDBOX_SANDBOX_SERVICE_H_
#define ZOR_SANDBOX_SANDBOX_SERVICE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/sandbox_types.h"

namespace zor::sandbox {

// One service on one port of several loopback addresses, with a certificate authority of its own.
// Several may run in a process. All functions are callable from any thread once start() has
// returned.
//
//   SandboxService service;
//   if (const auto problem = service.start()) FAIL() << *problem;
//   service.script({.route = Route::name}, {.status = 500}, 2);
//   ... point the client at service.caFile() and service.connectTo() ...
//   EXPECT_EQ(service.received(Route::name).size(), 2U);
class SandboxService {
 public:
  explicit SandboxService(SandboxSettings settings = {});
  ~SandboxService();
  SandboxService(const SandboxService&) = delete;
  SandboxService& operator=(const SandboxService&) = delete;

  // Sets functions that are called on the service's thread for each entry, before the answer is
  // sent. To be called before start().
  void observe(std::function<void(const Received&)> onRequest,
               std::function<void(const Handshake&)> onHandshake);

  // Makes the certificates, listens and serves on a thread of its own. Returns what went wrong.
  // Once only.
  std::optional<std::string> start();

  // Closes every connection; what was received can still be read. May be called twice.
  void stop();

  // The trusted root in PEM. The file exists as long as this object; longer if a state folder was
  // given.
  std::filesystem::path caFile() const;
  std::uint16_t port() const;
  // Whether the query addresses also listen on port 443, and if that was asked for, why not.
  bool standardPortOpen() const;
  std::optional<std::string> standardPortProblem() const;

  // Whether every name and address has a port of its own, see SandboxSettings.
  bool portForEachHost() const;

  // How a client finds the port: entries in the form of curl's connect-to.
  std::vector<std::string> connectTo() const;

  // Lets `script` decide for the exchanges that `match` describes, `uses` of them or all. The
  // script added last is tried first; once it is used up, the earlier ones apply again. Connections
  // that are already open keep their certificate. Returns a number for removeScript(); 0: `uses`
  // was 0.
  std::uint64_t script(const ScriptMatch& match, const Script& script,
                       std::optional<std::uint64_t> uses = std::nullopt);
  // False: no script of that number waits.
  bool removeScript(std::uint64_t id);
  void clearScripts();
  // The waiting scripts, in the order in which they are tried.
  std::vector<WaitingScript> scripts() const;

  // Closes the connections that clients keep open. Not from an observer, nor while stop() runs.
  void closeConnections();

  // Changes what the ordinary answers are made of: expiry, lifetime, HTTPDNS answers, backup
  // addresses, bundle versions, clock. Addresses, port and names stay as they were at the start.
  void changeSettings(const std::function<void(SandboxSettings&)>& change);
  SandboxSettings settings() const;

  // What was received, oldest first. A request is kept once it has been read completely.
  std::vector<Received> received() const;
  std::vector<Received> received(Route route) const;
  std::vector<Handshake> handshakes() const;
  AddressCounts counts(const std::string& localAddress) const;
  std::vector<ZORValue> pingbackRecords() const;
  void clearReceived();

  // Wait until that many have been kept since the start or clearReceived(); false: timeout.
  bool waitForRequests(std::size_t count,
                       std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;
  // The same for AddressCounts::connections.
  bool waitForConnections(const std::string& localAddress, std::uint64_t count,
                          std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

 private:
  class Core;
  std::unique_ptr<Core> _core;
};

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_SANDBOX_SERVICE_H_
