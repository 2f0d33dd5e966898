#include "crypto/text_cipher.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "literals/literals.h"
#include "platform/ports.h"
#include "support/text.h"

namespace zor {
namespace {

static_assert(decltype(literals::kTextCipherKey)::length() == kAes128KeyBytes);
static_assert(decltype(literals::kTextCipherVector)::length() == kAesBlockBytes);

// Both directions take the one key and vector: what one writes the other must read.
std::optional<Data> cipher(CipherOperation operation, const Data& input) {
  const std::string_view keyText = literals::kTextCipherKey.view();
  const std::string_view vectorText = literals::kTextCipherVector.view();
  AesKey key{};
  AesBlock vector{};
  std::copy(keyText.begin(), keyText.end(), key.begin());
  std::copy(vectorText.begin(), vectorText.end(), vector.begin());
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
  return textFromUtf8(withoutTrailingZeros(std::move(*bytes)));
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
