// Texts that do not appear in the binary in clear.
#ifndef ZOR_LITERALS_HIDDEN_TEXT_H_
#define ZOR_LITERALS_HIDDEN_TEXT_H_

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zor {

// The part of a hidden text that does not depend on its length.
class HiddenTextBase {
 public:
  HiddenTextBase(const HiddenTextBase&) = delete;
  HiddenTextBase& operator=(const HiddenTextBase&) = delete;

 protected:
  constexpr explicit HiddenTextBase(std::uint32_t key) : _key(key) {}

  // Unscrambles `size` bytes into `clear` unless that is done already; later calls cost a single
  // load.
  void revealOnce(const char* scrambled, char* clear, std::size_t size) const {
    if (_state.load(std::memory_order_acquire) != kRevealed) reveal(scrambled, clear, size);
  }

  void unscramble(const char* scrambled, char* clear, std::size_t size) const;

  // One step of the key stream.
  static constexpr std::uint32_t nextKey(std::uint32_t key) {
    key ^= key << 13;
    key ^= key >> 17;
    key ^= key << 5;
    return key;
  }

 private:
  static constexpr std::uint32_t kHidden = 0;
  static constexpr std::uint32_t kRevealed = 1;

  void reveal(const char* scrambled, char* clear, std::size_t size) const;

  std::uint32_t _key;
  // One of the two above, or the generation of the process whose thread is unscrambling the text.
  mutable std::atomic<std::uint32_t> _state{kHidden};
};

// A text scrambled at compile time and revealed at its first use. The clear text is stored beside
// the scrambled form, so that after a fork in the middle of that the child can start over. `Size`
// counts the terminating NUL. Callable from any thread; the text lives as long as the process.
template <std::size_t Size>
class HiddenText : public HiddenTextBase {
 public:
  consteval HiddenText(const char (&clear)[Size], std::uint32_t key) : HiddenTextBase(key) {
    for (std::size_t index = 0; index < Size; ++index) {
      key = nextKey(key);
      _scrambled[index] =
          static_cast<char>(static_cast<unsigned char>(clear[index]) ^ (key & 0xFF));
    }
  }

  const char* c_str() const {
    revealOnce(_scrambled, _clear, Size);
    return _clear;
  }
  std::string_view view() const { return {c_str(), Size - 1}; }
  std::string str() const { return std::string(view()); }

  // For secrets: a copy without the NUL, for the caller to wipe. The clear text is not kept here.
  std::array<std::uint8_t, Size - 1> copyToWipe() const {
    std::array<std::uint8_t, Size - 1> copy;
    unscramble(_scrambled, reinterpret_cast<char*>(copy.data()), copy.size());
    return copy;
  }

  // In bytes, without revealing the text.
  static constexpr std::size_t length() { return Size - 1; }

 private:
  char _scrambled[Size] = {};
  mutable char _clear[Size] = {};
};

}  // namespace zor

#endif  // ZOR_LITERALS_HIDDEN_TEXT_H_
