// Ciphers, digests and base64.
#ifndef ZOR_PLATFORM_CRYPTO_PORT_H_
#define ZOR_PLATFORM_CRYPTO_PORT_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zor {

constexpr std::size_t kAes128KeyBytes = 16;
constexpr std::size_t kAesBlockBytes = 16;
using AesKey = std::array<std::uint8_t, kAes128KeyBytes>;
using AesBlock = std::array<std::uint8_t, kAesBlockBytes>;
using Sha1Digest = std::array<std::uint8_t, 20>;
using Md5Digest = std::array<std::uint8_t, 16>;

enum class CipherOperation { encrypt, decrypt };

// Callable from any thread; no state.
class CryptoPort {
 public:
  virtual ~CryptoPort() = default;

  // AES-128 in CBC mode without padding. nullopt: the length of `input` is not a multiple of 16.
  virtual std::optional<Data> aes128Cbc(CipherOperation operation, const AesKey& key,
                                        const AesBlock& initialisationVector,
                                        const Data& input) = 0;
  virtual Sha1Digest hmacSha1(const Data& key, const Data& message) = 0;
  virtual Md5Digest md5(const Data& message) = 0;

  // Standard alphabet, "=" padding, no line breaks.
  virtual std::string base64Encode(const Data& data) = 0;
  // nullopt: anything but standard base64 with its padding; white space is not skipped. The empty
  // text gives no bytes.
  virtual std::optional<Data> base64Decode(std::string_view text) = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_CRYPTO_PORT_H_
