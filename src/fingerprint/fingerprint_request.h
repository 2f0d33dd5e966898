// What goes to the fingerprint service and what comes back: functions of plain values.
#ifndef ZOR_FINGERPRINT_FINGERPRINT_REQUEST_H_
#define ZOR_FINGERPRINT_FINGERPRINT_REQUEST_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>

#include "platform/url_loading_port.h"

namespace zor {

// The request for that environment report: a signed JSON dictionary of five entries, 10 s in all.
URLRequest fingerprintRequest(const std::string& environmentReport);

// The outcome of an exchange with the service. NOLINTNEXTLINE(bugprone-exception-escape): moving a
// ZORValue does not throw.
struct FingerprintOutcome {
  bool success = false;
  // Nothing on success, and also if only the status was wrong or the answer was not JSON. Else the
  // transport's error, or the service's whole answer.
  ZORFingerprintError error;
  // The data object of a success, of whatever kind the service sent it, and the fingerprint in it;
  // "" if that is not a text.
  ZORValue data;
  std::string fingerprint;
  // All but the route.
  ZORFailure failure;
  // The description of a failure that is to be reported.
  std::optional<std::string> pingback;
};

// Success needs no error, HTTP status 200 and the number 0, integer or not, as the answer's status;
// false is that number too. The text "0", null and a missing status are refusals. Nothing is
// thrown, whatever `body` holds.
FingerprintOutcome judgeFingerprintAnswer(const std::optional<Data>& body,
                                          const std::optional<URLResponse>& response,
                                          const std::optional<ZORError>& error);

// The delay in a Retry-After header, which holds a number of seconds or an HTTP date; negative:
// neither. `now`: seconds since 1970.
double retryAfterSeconds(const std::string& value, double now);

}  // namespace zor

#endif  // ZOR_FINGERPRINT_FINGERPRINT_REQUEST_H_
