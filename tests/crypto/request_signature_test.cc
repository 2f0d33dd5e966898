#include "crypto/request_signature.h"

#include <gtest/gtest.h>

#include "literals/literals.h"
#include "support/text.h"

namespace zor {
namespace {

// From another tool, with the signing key of the sandbox profile:
//   printf cmVwb3J0linux1.2.0 | openssl dgst -sha1 -hmac harbour-light-signing-key-of-the-sandbox
//   printf linux1.2.0 | openssl dgst -sha1 -hmac harbour-light-signing-key-of-the-sandbox
TEST(RequestSignatureTest, CoversTheTextAndBothLabels) {
  if (literals::kTextCipherKey.view() != "tidal-estuary-16") GTEST_SKIP() << "another profile";
  EXPECT_EQ(calcSignature("cmVwb3J0"), "38f62df52fb98aa6e1fb2465edaf6569bcf63ebb");
  EXPECT_EQ(calcSignature(""), "bcca9f65c4c0a60603562e1eac4b366719ae58c7");
  EXPECT_EQ(calcSignature(std::nullopt), std::nullopt);
}

TEST(HexCodecTest, BytesComeAsTwoDigitsHighHalfFirst) {
  EXPECT_EQ(data2HexData({0x0F, 0xA0, 0xFF, 0x00}), utf8Bytes("0fa0ff00"));
  EXPECT_EQ(data2HexData({}), Data{});
}

TEST(HexCodecTest, DigitsPairByPosition) {
  const struct {
    std::string hex;
    Data bytes;
  } rows[] = {
      {"0fA0Ff", {0x0F, 0xA0, 0xFF}},
      {"0A1", {0x0A}},   // The last digit has no partner.
      {" 1A", {0x01}},   // One leading byte that is not a digit shifts the pairing.
      {"zz1A", {0x1A}},  // Two such bytes do not.
      {"1zAB", {0xAB}},  // The 1 is replaced by the next even digit.
      {"0Ag1", {0x0A}},  // After the first decoded byte, such a byte ends the decoding.
      {"0AgA0B", {0x0A}},
      {"00 11", {0x00}},  // A decoded zero counts as decoded.
      {std::string("\0F", 2), {0x0F}},
      {"xyz", {}},
      {"", {}},
  };
  for (const auto& row : rows) EXPECT_EQ(hexData2Data(utf8Bytes(row.hex)), row.bytes) << row.hex;
}

}  // namespace
}  // namespace zor
