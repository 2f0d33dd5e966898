#include <nettle/aes.h>
#include <nettle/base64.h>
#include <nettle/cbc.h>
#include <nettle/hmac.h>
#include <nettle/md5.h>

#include "platform/linux/linux_ports.h"
#include "support/wiped.h"

namespace zor {
namespace {

Data encrypted(const AesKey& key, AesBlock vector, const Data& input) {
  aes128_ctx context;
  const WipedAtEnd keyIsWiped(context);
  aes128_set_encrypt_key(&context, key.data());
  Data output(input.size());
  cbc_encrypt(&context, reinterpret_cast<nettle_cipher_func*>(aes128_encrypt), AES_BLOCK_SIZE,
              vector.data(), input.size(), output.data(), input.data());
  return output;
}

Data decrypted(const AesKey& key, AesBlock vector, const Data& input) {
  aes128_ctx context;
  const WipedAtEnd keyIsWiped(context);
  aes128_set_decrypt_key(&context, key.data());
  Data output(input.size());
  cbc_decrypt(&context, reinterpret_cast<nettle_cipher_func*>(aes128_decrypt), AES_BLOCK_SIZE,
              vector.data(), input.size(), output.data(), input.data());
  return output;
}

// Nettle skips white space; the heritage platform's decoder without options does not.
bool isBase64Alphabet(std::string_view text) {
  return text.find_first_not_of(
             "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=") ==
         std::string_view::npos;
}

class LinuxCrypto final : public CryptoPort {
 public:
  std::optional<Data> aes128Cbc(CipherOperation operation, const AesKey& key,
                                const AesBlock& initialisationVector, const Data& input) override {
    if (input.size() % AES_BLOCK_SIZE != 0) return std::nullopt;
    return operation == CipherOperation::encrypt ? encrypted(key, initialisationVector, input)
                                                 : decrypted(key, initialisationVector, input);
  }

  Sha1Digest hmacSha1(const Data& key, const Data& message) override {
    hmac_sha1_ctx context;
    const WipedAtEnd keyIsWiped(context);
    hmac_sha1_set_key(&context, key.size(), key.data());
    hmac_sha1_update(&context, message.size(), message.data());
    Sha1Digest digest;
    hmac_sha1_digest(&context, digest.size(), digest.data());
    return digest;
  }

  Md5Digest md5(const Data& message) override {
    md5_ctx context;
    md5_init(&context);
    md5_update(&context, message.size(), message.data());
    Md5Digest digest;
    md5_digest(&context, digest.size(), digest.data());
    return digest;
  }

  std::string base64Encode(const Data& data) override {
    std::string text(BASE64_ENCODE_RAW_LENGTH(data.size()), '\0');
    base64_encode_raw(text.data(), data.size(), data.data());
    return text;
  }

  std::optional<Data> base64Decode(std::string_view text) override {
    if (text.size() % 4 != 0 || !isBase64Alphabet(text)) return std::nullopt;
    base64_decode_ctx context;
    base64_decode_init(&context);
    Data data(BASE64_DECODE_LENGTH(text.size()));
    std::size_t decodedBytes = 0;
    const bool decoded =
        base64_decode_update(&context, &decodedBytes, data.data(), text.size(), text.data()) == 1 &&
        base64_decode_final(&context) == 1;
    if (!decoded) return std::nullopt;
    data.resize(decodedBytes);
    return data;
  }
};

}  // namespace

CryptoPort& linuxCryptoPort() {
  static constinit MadeOnce<LinuxCrypto> port;
  return port.get();
}

}  // namespace zor
