#include "session/trust_decision.h"

namespace zor {
namespace {

TrustEvaluation judge(ServerTrust* trust, const std::optional<std::string>& acceptHost) {
  if (trust == nullptr) return {TrustResult::invalid, "no certificate"};
  // The policies replaced here follow the URL's host, which an address would never match. Where
  // they cannot be replaced there is nothing to judge by.
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

}  // namespace zor
