// Ciphers and digests of the service side. Built on OpenSSL, independently of the client's own, so
// that the two check each other.
#ifndef ZOR_SANDBOX_SERVICE_CRYPTO_H_
#define ZOR_SANDBOX_SERVICE_CRYPTO_H_

#include <optional>
#include <string>
#include <string_view>

namespace zor::sandbox {

// All bytes travel in std::string. Digests are lower-case hexadecimal text.
std::string hmacSha1Hex(std::string_view key, std::string_view message);
std::string sha256Hex(std::string_view message);

// Whether two texts are equal, ignoring letter case, in a time that does not reveal where they
// differ.
bool sameDigest(std::string_view left, std::string_view right);

// nullopt: `text` is anything but standard base64 with its padding.
std::optional<std::string> decodeBase64(std::string_view text);

// AES-128 in CBC mode without cipher padding; trailing zero bytes, the sender's fill, are removed.
// `key` and `vector` have 16 bytes. nullopt: not a whole number of blocks, or empty.
std::optional<std::string> openZeroFilled(std::string_view key, std::string_view vector,
                                          std::string_view sealed);

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_SERVICE_CRYPTO_H_
