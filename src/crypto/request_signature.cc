#include "crypto/request_signature.h"

#include "crypto/hex_codec.h"
#include "crypto/text_cipher.h"
#include "literals/labels.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "support/text.h"

namespace zor {

std::optional<std::string> calcSignature(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  // The key is never kept in clear. A literal that is no sealed text leaves an empty key, whose
  // signature the service refuses.
  const std::string key = dfp_decrypt_text(literals::kSigningKey.str()).value_or("");
  const std::string message = *text + platformLabel() + versionLabel();
  const Sha1Digest digest = ports().crypto.hmacSha1(utf8Bytes(key), utf8Bytes(message));
  const auto hex = data2HexData(Data(digest.begin(), digest.end()));
  if (!hex) return std::nullopt;
  return textFromUtf8(*hex);
}

}  // namespace zor
