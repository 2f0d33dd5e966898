// What the fuzz targets share. Each passes libFuzzer's input to one parser of untrusted bytes and
// checks what must hold for the result; scripts/fuzz builds and runs them.
#ifndef ZOR_FUZZ_FUZZ_INPUT_H_
#define ZOR_FUZZ_FUZZ_INPUT_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace zor::fuzz {

// Aborts the run with the current input if a claim does not hold.
inline void require(bool claim) {
  if (!claim) std::abort();
}

inline std::string textOfInput(const std::uint8_t* bytes, std::size_t size) {
  return {reinterpret_cast<const char*>(bytes), size};
}

// The part before the first NUL, and the part after it.
inline std::pair<std::string, std::string> halvesOfInput(const std::uint8_t* bytes,
                                                         std::size_t size) {
  const std::string text = textOfInput(bytes, size);
  const std::size_t end = text.find('\0');
  if (end == std::string::npos) return {text, ""};
  return {text.substr(0, end), text.substr(end + 1)};
}

}  // namespace zor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

#endif  // ZOR_FUZZ_FUZZ_INPUT_H_
