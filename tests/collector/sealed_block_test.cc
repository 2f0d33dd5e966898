// Known answers come from tests/data/block_key.py, run with the texts below.
#include "collector/sealed_block.h"

#include <gtest/gtest.h>

#include "collector/block_key.h"
#include "crypto/hex_codec.h"
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
      {"ab", "org.example.host", 3105, "09a76cbf33a728bf3e5329423e5f38b6"},
      {std::nullopt, std::nullopt, 0, "6a517e4d594b425a5b657f7a76367457"},
      {"2.5β€", "org.exämple.😀", 47635059, "70e2b8f6a8f6e1d889df924893568f45"},  // Not all bytes.
      {std::string(300, 'x'), std::string(5000, 'y'), 2537196032,
       "ec34af35b20ce11cfb09f111eb05f366"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(blockTextHash(row.hostInfo.value_or("")), row.hash);
    const std::string material = blockKeyMaterial(row.hostInfo, row.bundleIdentifier);
    EXPECT_EQ(hex(blockKey(material, row.hash)), row.key) << material.substr(0, 40);
  }
  EXPECT_EQ(hex(blockKey("abc", 7)), "76cb7200000000000000000000000000");
  EXPECT_EQ(hex(blockKey("", 7)), "00000000000000000000000000000000");
}

TEST_F(SealedBlockTest, AHostInfoThatIsNoTextCountsAsItsJson) {
  machine.bundle.info["CFBundleVersion"] = {{"b", {1, 2}}};
  EXPECT_EQ(hostBlockKey(), blockKey(blockKeyMaterial("{\"b\":[1,2]}", machine.bundle.identifier),
                                     blockTextHash("{\"b\":[1,2]}")));
}

TEST_F(SealedBlockTest, ATextThatFillsItsBlocksIsSealedWithABlockOfZeros) {
  const AesKey key = blockKey(blockKeyMaterial(std::nullopt, std::nullopt), 0);
  EXPECT_EQ(sealText("{\"k\":\"" + std::string(24, 'v') + "\"}", key),
            "rnXQ+GczBq9xr/K2H0tBX7aAM2Ra60/cjLFvdtPz/+JC5SGDtfACtQ33GnZVEuMn");
  EXPECT_EQ(sealText("{\"k\":\"" + std::string(25, 'v') + "\"}", key),
            "rnXQ+GczBq9xr/K2H0tBX4JLuyc/gz1+DwzUgqxQcBUT8Exmhm0gM7rSMgrzxQeb");
  EXPECT_EQ(sealText(std::nullopt, key), std::nullopt);
  EXPECT_EQ(sealText("", key), std::nullopt);
}

TEST_F(SealedBlockTest, OnlyTheSameHostOpensIt) {
  const Json block = {{"a", "1"}, {"b", nullptr}};
  const std::string sealed = sealBlock(block).value();
  EXPECT_EQ(openSealedBlock(sealed), block);
  machine.bundle.identifier = "org.example.other";
  EXPECT_EQ(openSealedBlock(sealed), std::nullopt);
  for (const char* text : {"", "AAAA", "no base64"}) EXPECT_EQ(openSealedBlock(text), std::nullopt);
}

TEST_F(SealedBlockTest, DesignatedInterfacesStandApartFromTheOthers) {
  HardwareIdentity identity;
  identity.hardwareAddresses = {
      {"en0", "00:01"}, {"en1", "00:02"}, {"usb0", "00:03"}, {"odd", "\xFF"}};
  identity.serialNumber = "S\xC3(";
  const Json block = identityBlock(identity, {"en0", "gone", std::nullopt});
  const Json expected = {{literals::kSealedFirstInterfaceKey.str(), "00:01"},
                         {literals::kSealedSecondInterfaceKey.str(), nullptr},
                         {literals::kSealedThirdInterfaceKey.str(), nullptr},
                         {literals::kSealedBluetoothAddressKey.str(), nullptr},
                         {literals::kSealedOtherInterfacesKey.str(),
                          {{"en1", "00:02"}, {"usb0", "00:03"}, {"odd", nullptr}}},
                         {literals::kSealedHardwareUUIDKey.str(), nullptr},
                         {literals::kSealedSerialNumberKey.str(), nullptr}};
  EXPECT_EQ(block, expected);
  EXPECT_EQ(identityBlock({}, {})[literals::kSealedOtherInterfacesKey.str()], Json::object());
}

}  // namespace
}  // namespace zor
