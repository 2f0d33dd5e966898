// Known answers come from tests/data/block_key.py, run with the texts below.
#include "collector/sealed_block.h"

#include <gtest/gtest.h>

#include "crypto/request_signature.h"
#include "literals/literals.h"
#include "support/text.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

using testing::FakeMachine;

std::string hex(const AesKey& key) {
  return textFromUtf8(data2HexData(Data(key.begin(), key.end())).value()).value();
}

class SealedBlockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (literals::kSealVector.view() != "lagoon-vector-03") GTEST_SKIP() << "another profile";
  }
  FakeMachine machine;
};

TEST_F(SealedBlockTest, TheKeyAgreesWithAnIndependentDerivation) {
  const struct {
    std::optional<std::string> hostInfo, bundleIdentifier;
    std::uint32_t hash;
    const char* key;
  } rows[] = {
      {"ab", "org.example.host", 3105, "18cf0bd753cd4bd45c374c25583e5aa7"},
      {std::nullopt, std::nullopt, 0, "7c476f6372666a71737c676d61246042"},
      {"2.5β€", "org.exämple.😀", 47635059,
       "67b5aaa6b0a1fe8d9783b32ab034ab24"},  // Not all bytes count.
      {std::string(300, 'x'), std::string(5000, 'y'), 2537196032,
       "2ae67bf579c029df34c237dd2bc337ad"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(blockTextHash(row.hostInfo.value_or("")), row.hash);
    const std::string material = blockKeyMaterial(row.hostInfo, row.bundleIdentifier);
    EXPECT_EQ(hex(blockKey(material, row.hash)), row.key) << material.substr(0, 40);
  }
  EXPECT_EQ(hex(blockKey("abc", 7)), "76cb7200000000000000000000000000");
  EXPECT_EQ(hex(blockKey("", 7)), "00000000000000000000000000000000");
}

TEST_F(SealedBlockTest, AHostInfoThatIsNotATextIsUsedAsJson) {
  machine.bundle.info.set("CFBundleVersion", testing::json("{\"b\":[1,2]}"));
  EXPECT_EQ(hostBlockKey(), blockKey(blockKeyMaterial("{\"b\":[1,2]}", machine.bundle.identifier),
                                     blockTextHash("{\"b\":[1,2]}")));
}

TEST_F(SealedBlockTest, ATextThatFillsItsBlocksIsSealedWithABlockOfZeros) {
  const AesKey key = blockKey(blockKeyMaterial(std::nullopt, std::nullopt), 0);
  EXPECT_EQ(sealText("{\"k\":\"" + std::string(24, 'v') + "\"}", key),
            "mYSbzV6SPDfhTbVtK6SFFKTtbUl6/9fKjGDAQZx1ks4PUxqSYzE7DPKyEsHvHwRb");
  EXPECT_EQ(sealText("{\"k\":\"" + std::string(25, 'v') + "\"}", key),
            "mYSbzV6SPDfhTbVtK6SFFHTgpfljG9NvuZ30qFx/6Gyvpj/kJP6X9iG1/Rp8Zjc5");
  EXPECT_EQ(sealText(std::nullopt, key), std::nullopt);
  EXPECT_EQ(sealText("", key), std::nullopt);
}

TEST_F(SealedBlockTest, OnlyTheSameHostOpensIt) {
  const auto block = ZORValue::dictionary({{"a", "1"}, {"b", nullptr}});
  const std::string sealed = sealBlock(block).value();
  EXPECT_EQ(openSealedBlock(sealed), block);
  machine.bundle.identifier = "org.example.other";
  EXPECT_EQ(openSealedBlock(sealed), std::nullopt);
  for (const char* text : {"", "AAAA", "no base64"}) EXPECT_EQ(openSealedBlock(text), std::nullopt);
}

TEST_F(SealedBlockTest, DesignatedInterfacesAreKeptApartFromTheOthers) {
  HardwareIdentity identity;
  identity.hardwareAddresses = {
      {"en0", "00:01"}, {"en1", "00:02"}, {"usb0", "00:03"}, {"odd", "\xFF"}};
  identity.serialNumber = "S\xC3(";
  const ZORValue block = identityBlock(identity, {"en0", "gone", std::nullopt});
  const auto expected =
      ZORValue::dictionary({{literals::kSealedFirstInterfaceKey.str(), "00:01"},
                            {literals::kSealedSecondInterfaceKey.str(), nullptr},
                            {literals::kSealedThirdInterfaceKey.str(), nullptr},
                            {literals::kSealedBluetoothAddressKey.str(), nullptr},
                            {literals::kSealedOtherInterfacesKey.str(),
                             testing::json(R"({"en1":"00:02","usb0":"00:03","odd":null})")},
                            {literals::kSealedHardwareUUIDKey.str(), nullptr},
                            {literals::kSealedSerialNumberKey.str(), nullptr}});
  EXPECT_EQ(block, expected);
  EXPECT_EQ(identityBlock({}, {})[literals::kSealedOtherInterfacesKey.view()],
            ZORValue::dictionary());
}

}  // namespace
}  // namespace zor
