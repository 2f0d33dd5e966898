#include "crypto/request_signature.h"

#include <cstddef>
#include <new>
#include <string_view>

#include "crypto/text_cipher.h"
#include "literals/labels.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "support/ascii.h"
#include "support/text.h"
#include "support/wiped.h"

namespace zor {

static_assert(decltype(literals::kHexDigits)::length() == 16);

std::optional<std::string> calcSignature(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  // The key is never kept in clear. If the literal is not a sealed text, the key is empty, and the
  // service refuses the signature.
  std::string key = dfp_decrypt_text(literals::kSigningKey.str()).value_or("");
  const WipedAtEnd keyIsWiped(key);
  Data keyBytes = utf8Bytes(key);
  const WipedAtEnd bytesAreWiped(keyBytes);
  const std::string message = *text + platformLabel() + versionLabel();
  const Sha1Digest digest = ports().crypto.hmacSha1(keyBytes, utf8Bytes(message));
  const auto hex = data2HexData(Data(digest.begin(), digest.end()));
  if (!hex) return std::nullopt;
  return textFromUtf8(*hex);
}

std::optional<Data> data2HexData(const Data& bytes) try {
  const std::string_view digits = literals::kHexDigits.view();
  Data hex;
  hex.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    hex.push_back(static_cast<std::uint8_t>(digits[byte >> 4]));
    hex.push_back(static_cast<std::uint8_t>(digits[byte & 15]));
  }
  return hex;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

Data hexData2Data(const Data& hex) {
  Data bytes;
  bytes.reserve(hex.size() / 2 + 1);
  std::uint8_t pending = 0;
  for (std::size_t position = 0; position < hex.size(); ++position) {
    const auto value = hexDigitValue(static_cast<char>(hex[position]));
    if (!value) {
      if (!bytes.empty()) break;
      continue;
    }
    if (position % 2 == 0) {
      pending = *value;
    } else {
      bytes.push_back(static_cast<std::uint8_t>(pending * 16 + *value));
      pending = 0;
    }
  }
  return bytes;
}

}  // namespace zor
