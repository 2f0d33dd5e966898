// HTTPS exchanges in which the caller decides whether to trust the server.
#ifndef ZOR_PLATFORM_URL_LOADING_PORT_H_
#define ZOR_PLATFORM_URL_LOADING_PORT_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zor {

class OperationQueue;

// Largest response body and largest header block that is accepted; more is a transport error.
constexpr std::size_t kMaxBodyBytes = 16U << 20;
constexpr std::size_t kMaxHeaderBytes = 256U << 10;

// How long an exchange may take if its request does not say.
constexpr double kDefaultTimeoutSeconds = 60;

struct URLRequest {
  std::string url;
  std::string method = "GET";
  std::vector<std::pair<std::string, std::string>> headers;
  Data body;
  // Covers the whole exchange, so that a server that keeps sending a little cannot hold up the
  // caller. Absent: kDefaultTimeoutSeconds.
  std::optional<double> timeoutSeconds;
  // The exchange ends by then at the latest. Absent: no such limit.
  std::optional<std::chrono::steady_clock::time_point> deadline = {};

  bool isOverdue() const { return deadline && std::chrono::steady_clock::now() >= *deadline; }
};

// The status of a successful response.
constexpr int kStatusOK = 200;

struct URLResponse {
  int statusCode = 0;
  std::string url;  // The final URL, after redirects.
  std::vector<std::pair<std::string, std::string>> headers;

  // The first header of that name, compared without regard to case.
  std::optional<std::string> header(const std::string& name) const;
};

// Codes in ZORError when its domain is the URL-loading domain of the literal table. The numbers are
// those of the heritage platform on both platforms.
enum class URLErrorCode : int {
  unknown = -1,
  cancelled = -999,
  badURL = -1000,
  timedOut = -1001,
  unsupportedURL = -1002,  // Another scheme than HTTPS, also after a redirect.
  cannotFindHost = -1003,
  cannotConnectToHost = -1004,
  networkConnectionLost = -1005,
  httpTooManyRedirects = -1007,
  resourceUnavailable = -1008,  // The URL-loading module could not be opened.
  badServerResponse = -1011,
  dataLengthExceedsMaximum = -1103,
  secureConnectionFailed = -1200,
  serverCertificateUntrusted = -1202,
};

// Body (absent when none was received, not the same as empty), response (absent when none arrived),
// error (absent when the transport succeeded).
using TransportCompletion =
    std::function<void(const std::optional<Data>& body, const std::optional<URLResponse>& response,
                       const std::optional<ZORError>& error)>;

// Results of a trust evaluation, with the heritage platform's numbers.
enum class TrustResult : int {
  invalid = 0,
  proceed = 1,
  deny = 3,
  unspecified = 4,  // The chain anchors in a trusted root.
  recoverableFailure = 5,
  fatalFailure = 6,
};

// What a presented chain is judged against.
struct TrustPolicy {
  // Present: an SSL server policy for that host (or address literal). Absent: the chain alone.
  std::optional<std::string> serverHostName;
};

struct TrustEvaluation {
  TrustResult result = TrustResult::invalid;
  std::string reason;  // For people; empty if trusted.
};

// The chain that a server presented. Confined to the thread that asks.
class ServerTrust {
 public:
  virtual ~ServerTrust() = default;
  // Replaces the policies that were derived from the URL. False: the policy cannot be used.
  virtual bool setPolicies(const std::vector<TrustPolicy>& policies) = 0;
  // nullopt: the evaluation itself failed.
  virtual std::optional<TrustEvaluation> evaluate() = 0;
  // Whether a credential can be made for this trust.
  virtual bool credentialAvailable() = 0;
};

enum class AuthenticationMethod { serverTrust, other };

struct AuthenticationChallenge {
  AuthenticationMethod method = AuthenticationMethod::other;
  std::shared_ptr<ServerTrust> serverTrust;  // Null unless the method is serverTrust.
};

// What the loader must do about a challenge, with the heritage platform's numbers.
enum class ChallengeDisposition : int {
  useCredential = 0,           // Go on: the server is trusted.
  performDefaultHandling = 1,  // Decide as if there were no delegate.
  cancel = 2,
  rejectProtectionSpace = 3,  // End the exchange with serverCertificateUntrusted.
};

using ChallengeCompletion =
    std::function<void(ChallengeDisposition disposition, bool withCredential)>;

// Answers the challenges of a URL session.
class URLSessionDelegate {
 public:
  virtual ~URLSessionDelegate() = default;
  // Selector: URLSession:didReceiveChallenge:completionHandler:
  // Calls `completionHandler` once, before it returns; an empty one is not called. Called for every
  // connection, and again before each request that reuses an open connection, on a thread of the
  // loader: no code of the host runs there, and the handshake waits for the answer.
  virtual void didReceiveChallenge(const AuthenticationChallenge& challenge,
                                   const ChallengeCompletion& completionHandler) = 0;
};

// One session. Callable from any thread; destroying it lets tasks in flight finish.
class URLSession {
 public:
  virtual ~URLSession() = default;
  // Starts the exchange and returns at once. `completion` is called exactly once, on the session's
  // queue.
  virtual void startDataTask(const URLRequest& request, TransportCompletion completion) = 0;
};

class URLLoadingPort {
 public:
  virtual ~URLLoadingPort() = default;
  // A session with the platform's default configuration that delivers on `queue`, which must
  // outlive it. The delegate is held weakly; a challenge that finds it gone is refused.
  virtual std::unique_ptr<URLSession> createSession(std::weak_ptr<URLSessionDelegate> delegate,
                                                    OperationQueue& queue) = 0;
};

// Settings for a loader that a program creates for itself.
struct URLLoadingOptions {
  // Connection overrides in the form HOST:PORT:CONNECT-HOST:CONNECT-PORT. An empty part matches
  // anything (left) or leaves it unchanged (right). URL, Host header and certificate checks are
  // unaffected.
  std::vector<std::string> connectTo;
};

// A loader with `options`, which also trusts the roots in the file that SSL_CERT_FILE names. Never
// null. Sessions and their tasks may outlive it. Defined by the backend; callable from any thread.
std::unique_ptr<URLLoadingPort> makeURLLoading(URLLoadingOptions options);

}  // namespace zor

#endif  // ZOR_PLATFORM_URL_LOADING_PORT_H_
