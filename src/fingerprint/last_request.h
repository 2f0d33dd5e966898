// When this application last asked the service, and how that ended; for people. No part of a report
// or an answer is kept for this.
#ifndef ZOR_FINGERPRINT_LAST_REQUEST_H_
#define ZOR_FINGERPRINT_LAST_REQUEST_H_

#include <optional>
#include <string>

#include "fingerprint/fingerprint_request.h"

namespace zor {

struct LastRequest {
  std::optional<double> askedAt;  // Seconds since 1970.
  std::optional<double> endedAt;  // Absent: under way, or the program ended before the answer came.
  std::optional<std::string> outcome;  // "success", "refused" or "failed".
  // "by name", "by HTTPDNS address" or "by backup address"; absent where no answer came.
  std::optional<std::string> route;
};

// The note in the user defaults; nullopt if there is none.
std::optional<LastRequest> lastRequest();

// Notes that a request starts now; then, with the response if there was one, how it ended. A note
// that cannot be kept is lost. Callable from any thread.
void noteRequest();
void noteOutcome(const FingerprintOutcome& outcome, const std::optional<URLResponse>& response);

}  // namespace zor

#endif  // ZOR_FINGERPRINT_LAST_REQUEST_H_
