// Whether a sealed signing key opens, usable while compiling: a profile whose key does not open
// must not become a library that signs with an empty key. At run time the library opens the key
// with the cipher of crypto/text_cipher.h.
#ifndef ZOR_LITERALS_SIGNING_KEY_CHECK_H_
#define ZOR_LITERALS_SIGNING_KEY_CHECK_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zor::signing_key {

constexpr std::size_t kBlock = 16;
constexpr std::size_t kRounds = 10;
// In base64 digits: enough for a sealed key of 128 bytes.
constexpr std::size_t kMaxDigits = 172;

using Block = std::array<std::uint8_t, kBlock>;

constexpr std::uint8_t doubled(std::uint8_t value) {
  return static_cast<std::uint8_t>((value << 1) ^ ((value >> 7) * 0x1B));
}

// The field's logarithms to the base 3, its S-box and the inverse of that.
struct Tables {
  std::array<std::uint8_t, 256> power{};
  std::array<std::uint8_t, 256> logarithm{};
  std::array<std::uint8_t, 256> box{};
  std::array<std::uint8_t, 256> inverseBox{};

  constexpr Tables() {
    std::uint8_t value = 1;
    for (std::size_t exponent = 0; exponent < 255; ++exponent) {
      power[exponent] = value;
      logarithm[value] = static_cast<std::uint8_t>(exponent);
      value = static_cast<std::uint8_t>(value ^ doubled(value));
    }
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const unsigned inverse = byte == 0 ? 0 : power[(255 - logarithm[byte]) % 255];
      unsigned mixed = inverse;
      for (unsigned turn = 1; turn <= 4; ++turn) {
        mixed ^= (inverse << turn | inverse >> (8 - turn)) & 0xFF;
      }
      box[byte] = static_cast<std::uint8_t>(mixed ^ 0x63);
      inverseBox[box[byte]] = static_cast<std::uint8_t>(byte);
    }
  }

  constexpr std::uint8_t product(std::uint8_t left, std::uint8_t right) const {
    if (left == 0 || right == 0) return 0;
    return power[(logarithm[left] + logarithm[right]) % 255];
  }
};

// Decrypts single blocks with AES-128.
class BlockOpener {
 public:
  // `key` has 16 bytes.
  constexpr explicit BlockOpener(std::string_view key) {
    for (std::size_t i = 0; i < kBlock; ++i) _keys[i] = static_cast<std::uint8_t>(key[i]);
    std::uint8_t roundConstant = 1;
    for (std::size_t i = kBlock; i < _keys.size(); i += 4) {
      std::array<std::uint8_t, 4> word{_keys[i - 4], _keys[i - 3], _keys[i - 2], _keys[i - 1]};
      if (i % kBlock == 0) {
        word = {_tables.box[word[1]], _tables.box[word[2]], _tables.box[word[3]],
                _tables.box[word[0]]};
        word[0] ^= roundConstant;
        roundConstant = doubled(roundConstant);
      }
      for (std::size_t j = 0; j < 4; ++j) _keys[i + j] = _keys[i + j - kBlock] ^ word[j];
    }
  }

  constexpr Block open(Block block) const {
    addKey(block, kRounds);
    for (std::size_t round = kRounds; round-- > 0;) {
      Block shifted{};
      for (std::size_t i = 0; i < kBlock; ++i) {
        // Row i % 4 moves right by its number, four bytes a column.
        shifted[(i + i % 4 * 4) % kBlock] = _tables.inverseBox[block[i]];
      }
      block = shifted;
      addKey(block, round);
      if (round != 0) unmixColumns(block);
    }
    return block;
  }

 private:
  constexpr void addKey(Block& block, std::size_t round) const {
    for (std::size_t i = 0; i < kBlock; ++i) block[i] ^= _keys[round * kBlock + i];
  }

  constexpr void unmixColumns(Block& block) const {
    constexpr std::array<std::uint8_t, 4> kRow{14, 11, 13, 9};
    const Block mixed = block;
    for (std::size_t i = 0; i < kBlock; ++i) {
      block[i] = 0;
      for (std::size_t j = 0; j < 4; ++j) {
        block[i] ^= _tables.product(mixed[i / 4 * 4 + (i + j) % 4], kRow[j]);
      }
    }
  }

  Tables _tables;
  std::array<std::uint8_t, kBlock*(kRounds + 1)> _keys{};
};

// Decodes `digits` into `bytes` and returns how many there are; 0: not base64, or more than
// kMaxDigits.
constexpr std::size_t readBase64(std::string_view digits, std::array<std::uint8_t, 129>& bytes) {
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  if (digits.empty() || digits.size() > kMaxDigits || digits.size() % 4 != 0) return 0;
  const std::size_t padding =
      digits.find('=') == std::string_view::npos ? 0 : digits.size() - digits.find('=');
  if (padding > 2) return 0;
  std::uint32_t pending = 0;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    const std::size_t value = i + padding < digits.size() ? kAlphabet.find(digits[i]) : 0;
    if (value == std::string_view::npos || (i + padding >= digits.size() && digits[i] != '=')) {
      return 0;
    }
    pending = pending << 6 | static_cast<std::uint32_t>(value);
    if (i % 4 != 3) continue;
    for (std::size_t j = 0; j < 3; ++j) {
      bytes[i / 4 * 3 + j] = static_cast<std::uint8_t>(pending >> (16 - 8 * j));
    }
  }
  return digits.size() / 4 * 3 - padding;
}

// Whether `sealed`, base64, opens with AES-128 in CBC mode to printable ASCII and the zero bytes
// that fill its last block, of which there is at least one. `key` and `vector`: 16 bytes each, else
// false.
constexpr bool opens(std::string_view key, std::string_view vector, std::string_view sealed) {
  if (key.size() != kBlock || vector.size() != kBlock) return false;
  std::array<std::uint8_t, 129> bytes{};
  const std::size_t size = readBase64(sealed, bytes);
  if (size == 0 || size % kBlock != 0) return false;
  const BlockOpener opener(key);
  Block previous{};
  for (std::size_t i = 0; i < kBlock; ++i) previous[i] = static_cast<std::uint8_t>(vector[i]);
  std::size_t length = 0;
  bool ended = false;
  for (std::size_t start = 0; start < size; start += kBlock) {
    Block block{};
    for (std::size_t i = 0; i < kBlock; ++i) block[i] = bytes[start + i];
    const Block clear = opener.open(block);
    for (std::size_t i = 0; i < kBlock; ++i) {
      const unsigned byte = clear[i] ^ previous[i];
      if (byte == 0) ended = true;
      if (byte != 0 && (ended || byte < ' ' || byte > '~')) return false;
      if (!ended) ++length;
    }
    previous = block;
  }
  return ended && length > 0 && size - length <= kBlock;
}

}  // namespace zor::signing_key

#endif  // ZOR_LITERALS_SIGNING_KEY_CHECK_H_
