#include "crypto/text_cipher.h"

#include <utility>

#include "literals/literals.h"
#include "platform/ports.h"
#include "support/text.h"
#include "support/wiped.h"

namespace zor {
namespace {

static_assert(decltype(literals::kTextCipherKey)::length() == kAes128KeyBytes);
static_assert(decltype(literals::kTextCipherVector)::length() == kAesBlockBytes);

// Both directions use the same key and vector: what one writes, the other must read.
std::optional<Data> cipher(CipherOperation operation, const Data& input) {
  AesKey key = literals::kTextCipherKey.copyToWipe();
  const WipedAtEnd keyIsWiped(key);
  AesBlock vector = literals::kTextCipherVector.copyToWipe();
  const WipedAtEnd vectorIsWiped(vector);
  return ports().crypto.aes128Cbc(operation, key, vector, input);
}

}  // namespace

std::optional<std::string> dfp_encrypt_text(const std::optional<std::string>& text) {
  if (!text || text->empty() || !isValidUtf8(*text)) return std::nullopt;
  const auto sealed = cipher(CipherOperation::encrypt, zeroPadded(utf8Bytes(*text)));
  if (!sealed) return std::nullopt;
  return ports().crypto.base64Encode(*sealed);
}

std::optional<std::string> dfp_decrypt_text(const std::optional<std::string>& text) {
  if (!text || text->empty()) return std::nullopt;
  const auto sealed = ports().crypto.base64Decode(*text);
  if (!sealed || sealed->empty()) return std::nullopt;
  auto bytes = cipher(CipherOperation::decrypt, *sealed);
  if (!bytes) return std::nullopt;
  Data clear = withoutTrailingZeros(std::move(*bytes));
  const WipedAtEnd clearIsWiped(clear);  // It may be the signing key.
  return textFromUtf8(clear);
}

Data zeroPadded(Data bytes) {
  bytes.resize((bytes.size() + kAesBlockBytes) / kAesBlockBytes * kAesBlockBytes, 0);
  return bytes;
}

Data withoutTrailingZeros(Data bytes) {
  while (!bytes.empty() && bytes.back() == 0) bytes.pop_back();
  return bytes;
}

}  // namespace zor
