// The sandbox service's input and output: settings, scripts and what was received.
#ifndef ZOR_SANDBOX_SANDBOX_TYPES_H_
#define ZOR_SANDBOX_SANDBOX_TYPES_H_

#include <ZORFingerPrint/ZORValue.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zor::sandbox {

using Header = std::pair<std::string, std::string>;

// The route by which a request came.
enum class Route {
  name,           // The fingerprint service by its host name.
  bootstrap,      // HTTPDNS, by one of the fixed addresses.
  query,          // HTTPDNS, by an address that the bootstrap answer gave.
  address,        // The fingerprint service, by an address that the query answer gave.
  backupService,  // The list of backup addresses; by name or by address, see the local address.
  backupAddress,  // The fingerprint service, by a backup address.
  pingback,       // The pingback upload.
  unknown,        // Anything else; answered 404 unless a script says otherwise.
};

// Which certificate a handshake presents.
enum class Certificate {
  ordinary,     // For the service's names, by the sandbox's own authority.
  wrongName,    // As ordinary, for another name.
  attacker,     // For an attacker's domain, through an intermediate of the trusted authority.
  expired,      // As ordinary, expired yesterday.
  notYetValid,  // As ordinary, valid from tomorrow.
  selfSigned,   // For the service's names, signed by itself.
  unknownRoot,  // For the service's names, by an untrusted authority.
};

// How an exchange ends.
enum class Ending {
  complete,
  cutBody,         // Half the promised body, then the connection is closed.
  reset,           // The request is read, then the connection is reset.
  hang,            // The request is read and never answered.
  dropKept,        // A later request of a kept connection is read, then the connection is closed.
                   // Not for the first one: the script then waits for another exchange.
  resetHandshake,  // The connection is reset after the client has named the host.
  hangHandshake,   // The client's first message is read and never answered.
};

// How the client learns where the body ends.
enum class Framing {
  length,      // Content-Length.
  chunks,      // Transfer-Encoding: chunked.
  connection,  // The end of the connection, announced by TLS unless the body is cut.
};

// What is sent as fast as the client reads it, until the client closes the connection.
enum class Flood {
  none,
  interimAnswers,  // Instead of an answer.
  headers,         // Of the answer.
  body,            // The answer's, in chunks.
  trailers,        // After the answer's body.
  sessionTickets,  // TLS 1.3 records without a byte of an answer.
};

// What happens instead of the ordinary answer. Members left at their defaults change nothing.
struct Script {
  Certificate certificate = Certificate::ordinary;
  // Names and IPv4 addresses that the certificate is for; empty: those of `certificate`'s kind.
  std::vector<std::string> certificateNames = {};
  Ending ending = Ending::complete;
  std::chrono::milliseconds delay = {};
  std::optional<int> status = {};
  std::optional<std::string> body = {};
  // The HTTPDNS answer's header value; `withoutAnswerHeader` leaves the header out.
  std::optional<std::string> answerHeader = {};
  bool withoutAnswerHeader = false;
  std::vector<Header> headers = {};     // Added unchanged.
  std::optional<std::string> raw = {};  // The whole answer as it goes over the wire.
  bool closeConnection = false;         // After the answer; otherwise the connection is kept.
  int interimAnswers = 0;               // With status 103, ahead of the answer.
  Framing framing = Framing::length;
  // The length that is promised, right or wrong. Bytes beyond it are still sent; if bytes are
  // missing, the connection is closed properly.
  std::optional<std::uint64_t> promisedBytes = {};
  Flood flood = Flood::none;
  // The pause before each 16 KiB of a request is read.
  std::chrono::milliseconds readPause = {};
  std::string fault = {};  // In the command line's form; empty: a program made it.

  // Whether it is already decided when the handshake starts.
  bool concernsHandshake() const {
    return certificate != Certificate::ordinary || !certificateNames.empty() ||
           ending == Ending::resetHandshake || ending == Ending::hangHandshake ||
           readPause.count() != 0;
  }
};

// Which exchanges a script is for; all members that are set must match. A script that concerns the
// handshake is chosen by route, address and host (the name the client asks for) alone.
struct ScriptMatch {
  std::optional<Route> route = {};
  std::optional<std::string> address = {};  // The local address of the connection.
  std::optional<std::string> host = {};     // Without a port.
  std::optional<std::string> pathPrefix = {};
};

// A script that waits to be used.
struct WaitingScript {
  std::uint64_t id = 0;  // Counts from 1.
  ScriptMatch match = {};
  Script script = {};
  std::optional<std::uint64_t> usesLeft = {};  // Absent: it is for all exchanges.
};

// One request, completely as received.
struct Received {
  std::uint64_t order = 0;  // Counts over all services and together with the handshakes, from 1.
  std::chrono::system_clock::time_point time = {};
  std::uint64_t connection = 0;  // Counts from 1; the same for requests of one connection.
  Route route = Route::unknown;
  std::string localAddress = {};
  std::string serverName = {};  // Asked for in the handshake; empty: none.
  std::string host = {};        // The Host header as it stands.
  std::string method = {};
  std::string target = {};
  std::vector<Header> headers = {};
  std::string body = {};
  std::string verdict = {};  // What the service thinks of it, in words.
  ZORValue details = {};     // What the service read: "report", "identity", "records", "host".
  bool scripted = false;     // Whether a script decided on the answer.
  std::string fault = {};    // That script's, as the command line writes it.
  int status = 0;            // Of the answer; 0: none is given.
  std::string answer = {};   // The answer's body, or in words what happens instead.
};

// One connection's handshake, at its end.
struct Handshake {
  std::uint64_t order = 0;
  std::chrono::system_clock::time_point time = {};
  std::uint64_t connection = 0;
  Route route = Route::unknown;  // As far as the address and the requested name show it.
  std::string localAddress = {};
  std::string serverName = {};
  Certificate certificate = Certificate::ordinary;
  std::string fault = {};    // Of the script that decided on it, as the command line writes it.
  bool accepted = false;     // By the client too.
  std::string problem = {};  // Why not.
};

// What happened at one local address.
struct AddressCounts {
  // Connections whose handshake has ended. The client may finish it before the server does.
  std::uint64_t connections = 0;
  std::uint64_t handshakesAccepted = 0;
  std::uint64_t handshakesFailed = 0;
  std::uint64_t requestBytes = 0;  // Decrypted bytes that the client sent after the handshake.
};

enum class TlsVersions { any, only12, only13 };

struct SandboxSettings {
  SandboxSettings();  // Addresses and names of the operator's profile.

  std::uint16_t port = 0;         // On every address; 0: one that is free on all of them.
  bool alsoStandardPort = false;  // Also port 443 on the query addresses, if that is permitted.
  // Uses one port on 127.0.0.1 for each name and address instead, `port` for the first name. Always
  // so on a machine that lacks one of the addresses: macOS has only 127.0.0.1.
  bool portForEachHost = false;
  std::filesystem::path stateFolder = {};  // Empty: a temporary one, removed at the end.

  // Only 127.0.0.0/8. An address may be in several lists.
  std::vector<std::string> nameAddresses = {"127.0.0.1"};
  std::vector<std::string> bootstrapAddresses;
  std::vector<std::string> queryAddresses = {"127.53.20.1"};
  std::vector<std::string> serviceAddresses = {"127.53.21.1", "127.53.21.2"};
  std::vector<std::string> backupAddresses = {"127.53.30.1", "127.53.30.2"};
  std::vector<std::string> certificateNames;  // Of the ordinary certificate.

  // What HTTPDNS answers for a host; others get the query addresses (the HTTPDNS host itself) or
  // the service addresses.
  std::map<std::string, std::vector<std::string>> httpDnsAnswers = {};

  // Maps bundle identifiers to bundle versions, which the block key needs and the report does not
  // contain.
  std::map<std::string, std::string> bundleVersions = {};

  std::int64_t expirySeconds =
      std::int64_t{30} * 86400;  // From the answer to the fingerprint's expiry.
  std::int64_t lifetimeSeconds = 86400;
  std::function<std::chrono::system_clock::time_point()> now = std::chrono::system_clock::now;

  TlsVersions tlsVersions = TlsVersions::any;
  bool sessionTickets = true;  // Whether clients may resume TLS sessions.
};

// "name", "bootstrap", "query", "address", "backup-service", "backup-address", "pingback",
// "unknown".
std::string routeName(Route route);
std::optional<Route> routeFromName(const std::string& name);

// "ordinary", "wrong-name", "attacker", ...
std::string certificateName(Certificate certificate);

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_SANDBOX_TYPES_H_
