#include "sandbox/service_crypto.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <cctype>
#include <memory>

#include "support/c_handles.h"

namespace zor::sandbox {
namespace {

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, FreeWith<EVP_CIPHER_CTX_free>>;

constexpr std::size_t kBlockBytes = 16;

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::string hexOf(const unsigned char* bytes, std::size_t size) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t index = 0; index < size; ++index) {
    text += kDigits[bytes[index] >> 4];
    text += kDigits[bytes[index] & 15];
  }
  return text;
}

std::string lowerCase(std::string_view text) {
  std::string lower;
  for (const char letter : text) {
    lower += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  }
  return lower;
}

// The number of "=" at the end of `text`, at most two.
std::size_t paddingOf(std::string_view text) {
  std::size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') ++padding;
  return padding;
}

bool isBase64(std::string_view text) {
  if (text.size() % 4 != 0) return false;
  for (const char letter : text.substr(0, text.size() - paddingOf(text))) {
    const bool known =
        std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '+' || letter == '/';
    if (!known) return false;
  }
  return true;
}

}  // namespace

std::string hmacSha1Hex(std::string_view key, std::string_view message) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  HMAC(EVP_sha1(), key.data(), static_cast<int>(key.size()), bytesOf(message), message.size(),
       digest, &size);
  return hexOf(digest, size);
}

std::string sha256Hex(std::string_view message) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_Digest(message.data(), message.size(), digest, &size, EVP_sha256(), nullptr);
  return hexOf(digest, size);
}

bool sameDigest(std::string_view left, std::string_view right) {
  const std::string first = lowerCase(left);
  const std::string second = lowerCase(right);
  return first.size() == second.size() &&
         CRYPTO_memcmp(first.data(), second.data(), first.size()) == 0;
}

std::optional<std::string> decodeBase64(std::string_view text) {
  if (!isBase64(text)) return std::nullopt;
  std::string bytes(text.size() / 4 * 3, '\0');
  const int size = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()), bytesOf(text),
                                   static_cast<int>(text.size()));
  if (size < 0) return std::nullopt;
  // The decoder counts the padding as zero bytes.
  bytes.resize(static_cast<std::size_t>(size) - paddingOf(text));
  return bytes;
}

std::optional<std::string> openZeroFilled(std::string_view key, std::string_view vector,
                                          std::string_view sealed) {
  if (sealed.empty() || sealed.size() % kBlockBytes != 0 || key.size() != kBlockBytes ||
      vector.size() != kBlockBytes) {
    return std::nullopt;
  }
  const CipherContext context(EVP_CIPHER_CTX_new());
  std::string clear(sealed.size() + kBlockBytes, '\0');
  auto* output = reinterpret_cast<unsigned char*>(clear.data());
  int moved = 0;
  int last = 0;
  const bool opened = context != nullptr &&
                      EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, bytesOf(key),
                                         bytesOf(vector)) == 1 &&
                      EVP_CIPHER_CTX_set_padding(context.get(), 0) == 1 &&
                      EVP_DecryptUpdate(context.get(), output, &moved, bytesOf(sealed),
                                        static_cast<int>(sealed.size())) == 1 &&
                      EVP_DecryptFinal_ex(context.get(), output + moved, &last) == 1;
  if (!opened) return std::nullopt;
  clear.resize(static_cast<std::size_t>(moved) + static_cast<std::size_t>(last));
  clear.erase(clear.find_last_not_of('\0') + 1);
  return clear;
}

}  // namespace zor::sandbox
