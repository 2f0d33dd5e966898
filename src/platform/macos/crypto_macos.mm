#include <CommonCrypto/CommonCrypto.h>
#import <Foundation/Foundation.h>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"

namespace zor {
namespace {

class MacCrypto final : public CryptoPort {
 public:
  std::optional<Data> aes128Cbc(CipherOperation operation, const AesKey& key,
                                const AesBlock& initialisationVector, const Data& input) override {
    if (input.empty()) return Data{};  // The platform needs a buffer, which an empty vector lacks.
    const CCOperation direction = operation == CipherOperation::encrypt ? kCCEncrypt : kCCDecrypt;
    constexpr CCOptions kCbcWithoutPadding = 0;
    Data output(input.size());
    std::size_t movedBytes = 0;
    const CCCryptorStatus status =
        CCCrypt(direction, kCCAlgorithmAES128, kCbcWithoutPadding, key.data(), key.size(),
                initialisationVector.data(), input.data(), input.size(), output.data(),
                output.size(), &movedBytes);
    if (status != kCCSuccess) return std::nullopt;
    output.resize(movedBytes);
    return output;
  }

  Sha1Digest hmacSha1(const Data& key, const Data& message) override {
    CCHmacContext context;
    CCHmacInit(&context, kCCHmacAlgSHA1, key.data(), key.size());
    CCHmacUpdate(&context, message.data(), message.size());
    Sha1Digest digest{};
    CCHmacFinal(&context, digest.data());
    return digest;
  }

  Md5Digest md5(const Data& message) override {
    Md5Digest digest{};
    // Deprecated for security purposes; here it only mixes the bytes of an identifier.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    CC_MD5(message.data(), static_cast<CC_LONG>(message.size()), digest.data());
#pragma clang diagnostic pop
    return digest;
  }

  std::string base64Encode(const Data& data) override {
    @autoreleasepool {
      NSString* text = [foundationData(data) base64EncodedStringWithOptions:0];
      return textFromString(text).value_or("");
    }
  }

  std::optional<Data> base64Decode(std::string_view text) override {
    @autoreleasepool {
      NSString* encoded = foundationString(text);
      if (encoded == nil) return std::nullopt;
      NSData* decoded = [[NSData alloc] initWithBase64EncodedString:encoded options:0];
      if (decoded == nil) return std::nullopt;
      Data data = bytesFromData(decoded);
      // The platform's decoder accepts more than its encoder produces; everything else is refused.
      if (base64Encode(data) != text) return std::nullopt;
      return data;
    }
  }
};

}  // namespace

CryptoPort& macosCryptoPort() {
  static constinit MadeOnce<MacCrypto> port;
  return port.get();
}

}  // namespace zor
