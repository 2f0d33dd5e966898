// The error codes of the library's own, beside those of the platform.
#ifndef ZOR_SUPPORT_ERROR_CODES_H_
#define ZOR_SUPPORT_ERROR_CODES_H_

#include <cstdint>

namespace zor {

// HTTPDNS answered with another status than 200. Made, but not passed on.
constexpr std::int64_t kErrorHttpDnsStatus = -71001;
// HTTPDNS answered without addresses, or the operator has no such service.
constexpr std::int64_t kErrorHttpDnsNoAddresses = -71003;

}  // namespace zor

#endif  // ZOR_SUPPORT_ERROR_CODES_H_
