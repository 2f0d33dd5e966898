// Listens with TLS on several loopback addresses and reads HTTP/1.1 requests. The delegate decides
// what is presented and answered. Besides the page's server, the only file that uses the network
// library.
#ifndef ZOR_SANDBOX_TLS_SERVER_H_
#define ZOR_SANDBOX_TLS_SERVER_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/sandbox_types.h"

struct ssl_st;  // OpenSSL's SSL

namespace zor::sandbox {

// One connection as the delegate sees it; the last three members are the delegate's own.
struct Connection {
  std::uint64_t id = 0;
  std::uint64_t requests = 0;  // Read so far.
  std::string localAddress;
  std::string serverName;  // Empty until the client has named a host.
  Certificate certificate = Certificate::ordinary;
  std::optional<Script> script;
  std::chrono::milliseconds readPause{0};  // Before each piece of a request is read.
};

// A port of 127.0.0.1 in place of an address that the machine lacks, or of a host name. Connections
// to it are treated as connections to `address`, and for `serverName` if they name no host.
struct StandIn {
  std::string host;  // The name or address that clients ask for.
  std::string address;
  std::string serverName;
  std::uint16_t port = 0;  // 0 before it listens: a free one.
};

struct WireRequest {
  std::string method;
  std::string target;
  std::string host;
  std::vector<Header> headers;
  std::string body;
  bool keepAlive = true;
};

struct WireAnswer {
  std::string bytes;  // As they are sent.
  std::chrono::milliseconds delay{0};
  // Sent after `bytes` until the client closes the connection; empty: nothing is.
  std::string repeated;
  bool repeatsTickets = false;  // The same with session tickets instead.
  // `complete` keeps or closes the connection, `cutBody` closes it at once after the bytes,
  // `reset`, `hang` and `dropKept` send nothing.
  Ending ending = Ending::complete;
  bool keepAlive = true;
};

enum class HandshakeAction { proceed, reset, hang };

// Called on the server's thread only; must not block.
class TlsServerDelegate {
 public:
  virtual ~TlsServerDelegate() = default;

  // The client has named the host: give `handle` a certificate, or end the handshake. Not called if
  // the client resumes an earlier session.
  virtual HandshakeAction planHandshake(Connection& connection, ssl_st* handle) = 0;
  // `problem` is empty if both sides accept.
  virtual void handshakeEnded(const Connection& connection, const std::string& problem) = 0;
  virtual void bytesArrived(const Connection& connection, std::size_t bytes) = 0;
  virtual WireAnswer answer(const Connection& connection, const WireRequest& request) = 0;
};

class TlsServer {
 public:
  // `delegate` must outlive the server.
  explicit TlsServer(TlsServerDelegate& delegate);
  ~TlsServer();
  TlsServer(const TlsServer&) = delete;
  TlsServer& operator=(const TlsServer&) = delete;

  void configure(TlsVersions versions, bool sessionTickets);

  // Listens at `port` of every address; 0: at a port that is free on all. Returns what went wrong;
  // then nothing listens. To be called before run().
  std::optional<std::string> listen(const std::vector<std::string>& addresses, std::uint16_t port);

  // Listens for each of `standIns` and sets their ports. Returns what went wrong; then nothing
  // listens. To be called before run().
  std::optional<std::string> listenFor(std::vector<StandIn>& standIns);

  // The port of the first listener.
  std::uint16_t port() const;

  // Serves on a thread of its own.
  void run();

  // Ends the thread and closes everything. May be called twice.
  void stop();

  // Closes the connections that are open now. Callable from any thread but the server's own, and
  // not while stop() runs.
  void closeConnections();

 private:
  class Core;
  std::unique_ptr<Core> _core;
};

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_TLS_SERVER_H_
