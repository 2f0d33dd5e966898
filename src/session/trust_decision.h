// Whether a server is trusted. Decided here for everything that the library sends.
#ifndef ZOR_SESSION_TRUST_DECISION_H_
#define ZOR_SESSION_TRUST_DECISION_H_

#include <optional>
#include <string>

#include "platform/url_loading_port.h"

namespace zor {

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

}  // namespace zor

#endif  // ZOR_SESSION_TRUST_DECISION_H_
