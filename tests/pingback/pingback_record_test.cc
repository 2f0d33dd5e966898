#include <gtest/gtest.h>

#include "literals/literals.h"
#include "pingback/ZORSecPingback.h"
#include "support/json_codec.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

class PingbackRecord : public ::testing::Test {
 protected:
  testing::FakeMachine machine;
};

TEST_F(PingbackRecord, HasNineEntriesOfWhichOnlyTheClassIsANumber) {
  machine.defaults.setObject("com.tidewater.dfp6eab132D9s2", "fp");
  const auto record = ZORSecPingback(2, "type", "what happened").toDictionary();
  ASSERT_TRUE(record);
  EXPECT_EQ(*record, ZORValue::dictionary({{"pbLibraryName", "zorfingerprint-client"},
                                           {"pbLibraryVersion", literals::kVersionLabel.str()},
                                           {"pbSystemName", literals::kPingbackPlatformName.str()},
                                           {"pbApplicationId", "org.example.host"},
                                           {"pbApplicationVersion", "2.5"},
                                           {"pbFingerprint", "fp"},
                                           {"pbErrorClass", 2},
                                           {"pbErrorType", "type"},
                                           {"pbErrorDescription", "what happened"}}));
}

TEST_F(PingbackRecord, AbsentValuesBecomeEmptyTexts) {
  const auto record = ZORSecPingback(0, std::nullopt, std::nullopt).toDictionary();
  ASSERT_TRUE(record);
  for (const auto& key :
       {literals::kPingbackFingerprintKey.str(), literals::kPingbackErrorTypeKey.str(),
        literals::kPingbackErrorDescriptionKey.str()}) {
    EXPECT_EQ((*record)[key], "") << key;
  }
}

TEST_F(PingbackRecord, IsNotMadeWithoutTheApplicationsIdentifierAndVersion) {
  const auto recordOf = [this] {
    const ScopedPingbackEnvironment environment(machine.bundle);
    return ZORSecPingback(0, "type", "text").toDictionary();
  };
  EXPECT_TRUE(recordOf());
  machine.bundle.info.set("CFBundleShortVersionString", 25);
  EXPECT_FALSE(recordOf()) << "The version is a text.";
  machine.bundle.info = ZORValue::dictionary();
  EXPECT_FALSE(recordOf());
  machine.bundle.info.set("CFBundleShortVersionString", "2.5");
  machine.bundle.identifier.reset();
  EXPECT_FALSE(recordOf());
  const ScopedPingbackEnvironment environment(machine.bundle);
  for (int turn = 0; turn < 2; ++turn) ZORSecPingback::sendWithError(0, "type", "text");
  EXPECT_EQ(machine.log.lines(),
            std::vector<std::string>{literals::kPingbackNoApplicationLogLine.str()});
}

TEST_F(PingbackRecord, TextThatIsNotUtf8StillMakesAJsonRecord) {
  using namespace std::string_literals;
  const auto record = ZORSecPingback(1, "type",
                                     "a\0b\xff\xe2\x82"s
                                     "c\xf0\x9f\x98\x80")
                          .toDictionary();
  ASSERT_TRUE(record);
  const auto text = jsonFromValue(*record);
  ASSERT_TRUE(text);
  EXPECT_EQ(testing::json(*text)[literals::kPingbackErrorDescriptionKey.view()],
            "a\0b\uFFFD\uFFFD\uFFFDc\U0001F600"s);
}

}  // namespace
}  // namespace zor
