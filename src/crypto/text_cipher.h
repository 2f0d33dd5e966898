// The reversible cipher that protects the store file and the signing key, and the zero fill that
// stands in for a cipher's padding.
#ifndef ZOR_CRYPTO_TEXT_CIPHER_H_
#define ZOR_CRYPTO_TEXT_CIPHER_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <optional>
#include <string>

namespace zor {

// `text` as base64 without line breaks: AES-128-CBC over its UTF-8 bytes and their zero fill.
// nullopt: no text, an empty one, or one that is not valid UTF-8. Callable from any thread.
std::optional<std::string> dfp_encrypt_text(const std::optional<std::string>& text);

// What dfp_encrypt_text was given, less any NUL characters at its end; all NULs read as "".
// nullopt: no text, an empty one, invalid base64, a length that is not a multiple of 16, or invalid
// UTF-8 inside, the usual result of a wrong key. Callable from any thread.
std::optional<std::string> dfp_decrypt_text(const std::optional<std::string>& text);

// `bytes` extended by 1 to 16 zero bytes to a multiple of 16. Bytes that already fill their blocks
// get a whole block of zeros: the reading side strips every zero at the end.
Data zeroPadded(Data bytes);

// `bytes` without the zero bytes at their end, whether these were padding or not.
Data withoutTrailingZeros(Data bytes);

}  // namespace zor

#endif  // ZOR_CRYPTO_TEXT_CIPHER_H_
