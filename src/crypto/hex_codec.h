// Bytes as hexadecimal digits and back.
#ifndef ZOR_CRYPTO_HEX_CODEC_H_
#define ZOR_CRYPTO_HEX_CODEC_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>

namespace zor {

// Two ASCII digits for each byte, the high half first, without a terminator; nullopt when memory
// runs out.
std::optional<Data> data2HexData(const Data& bytes);

// The bytes that ASCII digits of either case spell. Digits pair by their position, even with the
// odd one after it, not by their count: a byte that is no digit is skipped as long as nothing has
// been decoded, so a leading one leaves the next digit to pair with zero; later it ends the
// decoding. A last digit without a partner is dropped.
Data hexData2Data(const Data& hex);

}  // namespace zor

#endif  // ZOR_CRYPTO_HEX_CODEC_H_
