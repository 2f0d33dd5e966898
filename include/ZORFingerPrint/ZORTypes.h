// Value types shared by the public interface.
#ifndef ZORFINGERPRINT_ZORTYPES_H_
#define ZORFINGERPRINT_ZORTYPES_H_

#include <ZORFingerPrint/ZORErrors.h>
#include <ZORFingerPrint/ZORExport.h>
#include <ZORFingerPrint/ZORValue.h>

#include <cstdint>
#include <string>
#include <variant>

namespace zor {

// A failure of this library or of the platform under it.
struct ZORError {
  // Who defines `code`: one of this library's domains or a platform's.
  std::string domain;
  std::int64_t code = 0;
  // For people; never holds hardware values, keys or fingerprints.
  std::string localizedDescription;

  friend bool operator==(const ZORError& left, const ZORError& right) {
    return left.code == right.code && left.domain == right.domain &&
           left.localizedDescription == right.localizedDescription;
  }
};

// What a fingerprint callback gets beside `success`: nothing, an error of ours or of the platform,
// or the service's whole answer when it refused. Callers must not assume an error object.
using ZORFingerprintError = std::variant<std::monostate, ZORError, ZORValue>;

// Further details of a failed request.
struct ZORFailure {
  zor_fingerprint_reason reason = ZOR_FINGERPRINT_REASON_NONE;
  // The status of the answer that decided; 0: there was none.
  int httpStatus = 0;
  // The way that was tried last.
  zor_fingerprint_route route = ZOR_FINGERPRINT_ROUTE_NONE;
  // How long to wait before the next request, as the service asks with a status 429 or 503;
  // negative: it does not say. The library itself does not wait.
  double retryAfterSeconds = -1;
};

}  // namespace zor

#endif  // ZORFINGERPRINT_ZORTYPES_H_
