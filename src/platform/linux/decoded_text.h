// Texts of unknown encoding, from firmware and networks.
#ifndef ZOR_PLATFORM_LINUX_DECODED_TEXT_H_
#define ZOR_PLATFORM_LINUX_DECODED_TEXT_H_

#include <string>
#include <string_view>

namespace zor {

// `bytes` as UTF-8 if they are valid, else read as Windows Latin 1. The result is valid UTF-8.
std::string decodedText(std::string_view bytes);

// `bytes` without the beginning of a UTF-8 character at its end, if there is one.
std::string_view withoutCutCharacter(std::string_view bytes);

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_DECODED_TEXT_H_
