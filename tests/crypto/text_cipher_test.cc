// The sealed texts below come from another tool, with the key and the vector of the sandbox
// profile:
//
//   seal() {
//     key="-K $(printf tidal-estuary-16 | xxd -p) -iv $(printf brackish-water-2 | xxd -p)"
//     python3 -c 'import sys; b = sys.argv[1].encode(); n = len(b)
//     sys.stdout.buffer.write(b + bytes((n + 16) // 16 * 16 - n))' "$1" |
//       openssl enc -aes-128-cbc $key -nopad -A -base64; }
//   seal 'fifteen bytes..'; seal 'sixteen bytes...'; seal 'Ünïcode €'
#include "crypto/text_cipher.h"

#include <gtest/gtest.h>

#include "literals/literals.h"

namespace zor {
namespace {

class TextCipherTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (literals::kTextCipherKey.view() != "tidal-estuary-16") GTEST_SKIP() << "another profile";
  }
};

TEST_F(TextCipherTest, AgreesWithAnotherToolInBothDirections) {
  const struct {
    std::string clear, sealed;
  } rows[] = {
      {"fifteen bytes..", "dxSfwRvIso92C15HC86eKg=="},
      {"sixteen bytes...", "lZ4Pvx2f3khs82W/MbKcBoJg5hPUuZ8EG73Lt8bx8Pw="},  // A block of zeros.
      {"Ünïcode €", "U4GCVg4Uu5ju3QuaPi46kw=="},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(dfp_encrypt_text(row.clear), row.sealed) << row.clear;
    EXPECT_EQ(dfp_decrypt_text(row.sealed), row.clear) << row.clear;
  }
}

TEST_F(TextCipherTest, TrailingNulsAreLostAndInnerOnesKept) {
  const std::string text("a\0b\0\0", 5);
  EXPECT_EQ(dfp_decrypt_text(dfp_encrypt_text(text)), std::string("a\0b", 3));
  EXPECT_EQ(dfp_decrypt_text("MRkRlcQ+CAE3TFCyX3adkg=="), "");  // 16 zero bytes.
}

TEST_F(TextCipherTest, WhatIsNotATextOrNotSealedYieldsNothing) {
  EXPECT_EQ(dfp_encrypt_text(std::nullopt), std::nullopt);
  EXPECT_EQ(dfp_encrypt_text(""), std::nullopt);
  EXPECT_EQ(dfp_encrypt_text("\xC3("), std::nullopt);
  EXPECT_EQ(dfp_decrypt_text(std::nullopt), std::nullopt);
  for (const char* sealed : {"", "=", "no base64!", "dxSfwRvIso92C15HC86eKg==\n",
                             "dxSfwRvIso8=", "GhRb77mttj07m7ox6Az2gA==" /* holds the byte FF */}) {
    EXPECT_EQ(dfp_decrypt_text(sealed), std::nullopt) << sealed;
  }
}

}  // namespace
}  // namespace zor
