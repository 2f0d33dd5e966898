// The signature that goes with each environment report.
#ifndef ZOR_CRYPTO_REQUEST_SIGNATURE_H_
#define ZOR_CRYPTO_REQUEST_SIGNATURE_H_

#include <optional>
#include <string>

namespace zor {

// HMAC-SHA1 over `text` followed by the platform and the version label, as 40 hexadecimal digits.
// The empty text signs the labels alone. nullopt: no text. Callable from any thread.
std::optional<std::string> calcSignature(const std::optional<std::string>& text);

}  // namespace zor

#endif  // ZOR_CRYPTO_REQUEST_SIGNATURE_H_
