// The one HTTPS client of the library: repeats what fails and judges the server itself.
#ifndef ZOR_SESSION_ZORHTTPSURLSESSION_H_
#define ZOR_SESSION_ZORHTTPSURLSESSION_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/url_loading_port.h"
#include "support/process_generation.h"

namespace zor {

class OperationQueue;

// The queue on which every session delivers, two completions at a time. Made at the first call and
// never destroyed. Callable from any thread.
OperationQueue& zor_httpsOperationQueue();

// The library's rule of success: no error, and a response with status 200. The body is not looked
// at.
bool zor_isRequestSuccess(const std::optional<Data>& body,
                          const std::optional<URLResponse>& response,
                          const std::optional<ZORError>& error);

// Calls `block`, unless it is empty, at once and on the calling thread. Exceptions from it are
// dropped.
void zor_callBlock(const TransportCompletion& block, const std::optional<Data>& body,
                   const std::optional<URLResponse>& response,
                   const std::optional<ZORError>& error);

// Whether a server is trusted. Decided here for everything that the library sends.
struct TrustDecision {
  ChallengeDisposition disposition = ChallengeDisposition::performDefaultHandling;
  // How the presented chain was judged. Absent: the challenge was not a question of server trust.
  std::optional<TrustEvaluation> evaluation;

  bool trusted() const;
};

// `acceptHost`: the name that the certificate must be for; absent: the chain alone is judged. A
// trusted server whose credential cannot be made, and a challenge of another method, are left to
// the platform.
TrustDecision decideOnChallenge(const AuthenticationChallenge& challenge,
                                const std::optional<std::string>& acceptHost);

// Calls `completionHandler`, which is not empty, with the decision.
void answerChallenge(const TrustDecision& decision, const ChallengeCompletion& completionHandler);

// A URL session with its own answer to the server-trust question. Callable from any thread.
class ZORHttpsURLSession final : public URLSessionDelegate,
                                 public std::enable_shared_from_this<ZORHttpsURLSession> {
  struct Private {};

 public:
  // Selector: init. Never null.
  static std::shared_ptr<ZORHttpsURLSession> create();
  explicit ZORHttpsURLSession(Private) {}  // For create() only.

  // Sends `request`; the outcome of the last attempt goes to `completionHandler`.
  // Selector: performRequest:retryCount:completionHandler:
  //
  // Attempts: `retryCount`, but at least one; immediate. Only the HTTP status decides on a repeat:
  //           200 ends the chain, whatever the error; no response counts as another status.
  // Time:     when the request's deadline has passed nothing is sent; the handler gets the error
  //           "timed out".
  // Absent:   no body was received (not the same as an empty one); no response arrived; the
  //           transport reported no error. An empty handler is allowed.
  // Threads:  the handler runs on zor_httpsOperationQueue() with no lock held.
  // Consent:  without permission nothing is sent; the handler gets the error "cancelled".
  // Lifetime: holds this session weakly; if it is gone when a repeat is due, the handler never
  //           runs.
  void performRequestRetryCount(const URLRequest& request, std::uint64_t retryCount,
                                const TransportCompletion& completionHandler);

  // The host name that a server's certificate must match, whatever host the URL names; absent: the
  // chain alone is judged. A change applies to every certificate judged from then on, including
  // those of requests under way, so set it before a request is started.
  std::optional<std::string> acceptHost() const;
  void setAcceptHost(const std::optional<std::string>& acceptHost);

  // Owned by this session.
  URLSession& urlSession() const { return *_urlSession; }

  void didReceiveChallenge(const AuthenticationChallenge& challenge,
                           const ChallengeCompletion& completionHandler) override;

 private:
  std::unique_ptr<URLSession> _urlSession;  // Set by create(), then constant.
  InheritedPointer<std::string> _acceptHost;
  // Part of the interface without a use; attempts are counted in the chain of each request.
  [[maybe_unused]] std::uint64_t _tryIndex = 0;
};

}  // namespace zor

#endif  // ZOR_SESSION_ZORHTTPSURLSESSION_H_
