// The zero fill that stands in for a cipher's padding.
#ifndef ZOR_CRYPTO_ZERO_PADDING_H_
#define ZOR_CRYPTO_ZERO_PADDING_H_

#include <ZORFingerPrint/ZORTypes.h>

namespace zor {

// `bytes` extended by 1 to 16 zero bytes to a multiple of 16. Bytes that already fill their blocks
// get a whole block of zeros: the reading side strips every zero at the end.
Data zeroPadded(Data bytes);

// `bytes` without the zero bytes at their end, whether these were padding or not.
Data withoutTrailingZeros(Data bytes);

}  // namespace zor

#endif  // ZOR_CRYPTO_ZERO_PADDING_H_
