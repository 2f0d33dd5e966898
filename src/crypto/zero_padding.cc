#include "crypto/zero_padding.h"

#include "platform/crypto_port.h"

namespace zor {

Data zeroPadded(Data bytes) {
  bytes.resize((bytes.size() + kAesBlockBytes) / kAesBlockBytes * kAesBlockBytes, 0);
  return bytes;
}

Data withoutTrailingZeros(Data bytes) {
  while (!bytes.empty() && bytes.back() == 0) bytes.pop_back();
  return bytes;
}

}  // namespace zor
