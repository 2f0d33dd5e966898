#include "crypto/hex_codec.h"

#include <cstddef>
#include <new>
#include <string_view>

#include "literals/literals.h"
#include "support/ascii.h"

namespace zor {
namespace {

static_assert(decltype(literals::kHexDigits)::length() == 16);

}  // namespace

std::optional<Data> data2HexData(const Data& bytes) try {
  const std::string_view digits = literals::kHexDigits.view();
  Data hex;
  hex.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    hex.push_back(static_cast<std::uint8_t>(digits[byte >> 4]));
    hex.push_back(static_cast<std::uint8_t>(digits[byte & 15]));
  }
  return hex;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

Data hexData2Data(const Data& hex) {
  Data bytes;
  bytes.reserve(hex.size() / 2 + 1);
  std::uint8_t pending = 0;
  for (std::size_t position = 0; position < hex.size(); ++position) {
    const auto value = hexDigitValue(static_cast<char>(hex[position]));
    if (!value) {
      if (!bytes.empty()) break;
      continue;
    }
    if (position % 2 == 0) {
      pending = *value;
    } else {
      bytes.push_back(static_cast<std::uint8_t>(pending * 16 + *value));
      pending = 0;
    }
  }
  return bytes;
}

}  // namespace zor
