// The signature sent with each environment report, and the hexadecimal digits in which it is
// written.
#ifndef ZOR_CRYPTO_REQUEST_SIGNATURE_H_
#define ZOR_CRYPTO_REQUEST_SIGNATURE_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>

namespace zor {

// HMAC-SHA1 over `text` followed by the platform and the version label, as 40 hexadecimal digits.
// The empty text signs the labels alone. nullopt: no text. Callable from any thread.
std::optional<std::string> calcSignature(const std::optional<std::string>& text);

// Two ASCII digits for each byte, the high half first, without a terminator; nullopt when memory
// runs out.
std::optional<Data> data2HexData(const Data& bytes);

// The bytes spelled by ASCII digits of either case. Digits are paired by position, each even one
// with the odd one after it, not by their count. A byte that is not a digit is skipped as long as
// nothing has been decoded, so after a leading one the next digit is paired with zero; later it
// ends the decoding. A last digit without a partner is dropped.
Data hexData2Data(const Data& hex);

}  // namespace zor

#endif  // ZOR_CRYPTO_REQUEST_SIGNATURE_H_
