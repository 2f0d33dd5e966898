#include "session/ZORHttpsURLSession.h"

#include "consent/consent.h"
#include "literals/literals.h"
#include "platform/operation_queue.h"
#include "platform/ports.h"
#include "support/guarded_call.h"
#include "support/process_generation.h"

namespace zor {
namespace {

constexpr std::size_t kMaxCompletionsAtOnce = 2;

bool hasStatusOK(const std::optional<URLResponse>& response) {
  return response && response->statusCode == kStatusOK;
}

void endWithoutSending(const TransportCompletion& completionHandler, URLErrorCode code,
                       const std::string& description) {
  zor_httpsOperationQueue().addOperation([completionHandler, code, description] {
    zor_callBlock(
        completionHandler, std::nullopt, std::nullopt,
        ZORError{literals::kURLErrorDomain.str(), static_cast<std::int64_t>(code), description});
  });
}

}  // namespace

OperationQueue& zor_httpsOperationQueue() {
  static constinit MadeOnce<OperationQueue> queue;
  return queue.get([] {
    return std::make_unique<OperationQueue>(literals::kHttpsQueueName.str(), kMaxCompletionsAtOnce,
                                            QualityOfService::userInitiated);
  });
}

bool zor_isRequestSuccess(const std::optional<Data>& /*body*/,
                          const std::optional<URLResponse>& response,
                          const std::optional<ZORError>& error) {
  return !error && hasStatusOK(response);
}

void zor_callBlock(const TransportCompletion& block, const std::optional<Data>& body,
                   const std::optional<URLResponse>& response,
                   const std::optional<ZORError>& error) {
  if (block) callIgnoringExceptions(block, body, response, error);
}

std::shared_ptr<ZORHttpsURLSession> ZORHttpsURLSession::create() {
  auto session = std::make_shared<ZORHttpsURLSession>(Private{});
  session->_urlSession = ports().urlLoading.createSession(session, zor_httpsOperationQueue());
  return session;
}

void ZORHttpsURLSession::performRequestRetryCount(const URLRequest& request,
                                                  std::uint64_t retryCount,
                                                  const TransportCompletion& completionHandler) {
  // Consent may be refused, and the time may pass, while an exchange of several steps is under way.
  if (!isPermitted()) {
    return endWithoutSending(completionHandler, URLErrorCode::cancelled,
                             literals::kNoConsentMessage.str());
  }
  if (request.isOverdue()) {
    return endWithoutSending(completionHandler, URLErrorCode::timedOut,
                             literals::kTotalTimeMessage.str());
  }
  const auto ended = [weakSelf = weak_from_this(), request, retryCount, completionHandler](
                         const auto& body, const auto& response, const auto& error) {
    // Deliberate: the error is ignored. A 200 with an error is final too.
    if (hasStatusOK(response) || retryCount < 2) {
      zor_callBlock(completionHandler, body, response, error);
    } else if (const auto self = weakSelf.lock()) {
      self->performRequestRetryCount(request, retryCount - 1, completionHandler);
    }
  };
  _urlSession->startDataTask(request, ended);
}

std::optional<std::string> ZORHttpsURLSession::acceptHost() const {
  const auto host = _acceptHost.get();
  return host != nullptr ? std::optional(*host) : std::nullopt;
}

void ZORHttpsURLSession::setAcceptHost(const std::optional<std::string>& acceptHost) {
  _acceptHost.set(acceptHost ? std::make_shared<const std::string>(*acceptHost) : nullptr);
}

namespace {

TrustEvaluation judge(ServerTrust* trust, const std::optional<std::string>& acceptHost) {
  if (trust == nullptr) return {TrustResult::invalid, "no certificate"};
  // The policies replaced here follow the URL's host, which an address would never match. If they
  // cannot be replaced, the chain cannot be judged.
  if (!trust->setPolicies({TrustPolicy{acceptHost}})) {
    return {TrustResult::invalid, "no policy for this name"};
  }
  return trust->evaluate().value_or(TrustEvaluation{TrustResult::invalid, "not evaluated"});
}

}  // namespace

bool TrustDecision::trusted() const {
  return evaluation && (evaluation->result == TrustResult::unspecified ||
                        evaluation->result == TrustResult::proceed);
}

TrustDecision decideOnChallenge(const AuthenticationChallenge& challenge,
                                const std::optional<std::string>& acceptHost) {
  TrustDecision decision;
  if (challenge.method != AuthenticationMethod::serverTrust) return decision;
  decision.evaluation = judge(challenge.serverTrust.get(), acceptHost);
  if (!decision.trusted()) {
    decision.disposition = ChallengeDisposition::rejectProtectionSpace;
  } else if (challenge.serverTrust->credentialAvailable()) {
    decision.disposition = ChallengeDisposition::useCredential;
  }
  return decision;
}

void answerChallenge(const TrustDecision& decision, const ChallengeCompletion& completionHandler) {
  completionHandler(decision.disposition,
                    decision.disposition == ChallengeDisposition::useCredential);
}

void ZORHttpsURLSession::didReceiveChallenge(const AuthenticationChallenge& challenge,
                                             const ChallengeCompletion& completionHandler) {
  if (!completionHandler) return;
  answerChallenge(decideOnChallenge(challenge, acceptHost()), completionHandler);
}

}  // namespace zor
