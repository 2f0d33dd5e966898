#include <ZORFingerPrint/ZORJsonHelper.h>
#include <gtest/gtest.h>

#include <limits>

#include "literals/literals.h"
#include "support/text.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

using testing::FakeMachine;

std::string nested(int levels) { return std::string(levels, '[') + std::string(levels, ']'); }

TEST(JsonHelperTest, OutputIsCompactAndKeepsTextBeyondAscii) {
  EXPECT_EQ(ZORJsonHelper::zorsec_JSONStringWithDic(ZORValue::dictionary()), "{}");
  EXPECT_EQ(ZORJsonHelper::zorsec_JSONDataWithArray(ZORValue::array()), utf8Bytes("[]"));
  const auto value =
      ZORValue::dictionary({{"a", ZORValue::array({1, nullptr, true})}, {"b", "é\n"}});
  EXPECT_EQ(zorsec_JSONString(value), "{\"a\":[1,null,true],\"b\":\"é\\n\"}");
}

TEST(JsonHelperTest, WhatCannotBeWrittenIsRefusedAfterOneLogLineOfItsOwn) {
  FakeMachine machine;
  const auto notANumber = ZORValue::dictionary({{"n", std::numeric_limits<double>::quiet_NaN()}});
  const auto badText = ZORValue::array({"\xC3("});
  EXPECT_EQ(ZORJsonHelper::zorsec_JSONStringWithDic(notANumber), std::nullopt);
  EXPECT_EQ(ZORJsonHelper::zorsec_JSONDataWithArray(badText), std::nullopt);
  EXPECT_EQ(zorsec_JSONString(badText), std::nullopt);
  EXPECT_EQ(zorsec_JSONString(notANumber), std::nullopt);
  EXPECT_EQ(zorsec_JSONData(ZORValue(5)), std::nullopt);
  EXPECT_EQ(machine.log.lines(),
            (std::vector<std::string>{
                literals::kLogHelperDictionaryToData.str(), literals::kLogHelperArrayToData.str(),
                literals::kLogArrayToData.str(), literals::kLogDictionaryToData.str(),
                literals::kLogDictionaryToData.str()}));
}

TEST(JsonHelperTest, AbsentArgumentsAreLoggedForDictionaryBytesOnly) {
  FakeMachine machine;
  EXPECT_EQ(ZORJsonHelper::zorsec_JSONStringWithDic(std::nullopt), std::nullopt);
  EXPECT_EQ(ZORJsonHelper::zorsec_objectFromJSONStringWithStr(std::nullopt), std::nullopt);
  EXPECT_EQ(ZORJsonHelper::zorsec_JSONDataWithArray(std::nullopt), std::nullopt);
  EXPECT_TRUE(machine.log.lines().empty());
  EXPECT_EQ(ZORJsonHelper::zorsec_JSONDataWithDic(std::nullopt), std::nullopt);
  EXPECT_EQ(machine.log.lines().size(), 1U);
}

TEST(JsonHelperTest, ReadingAcceptsScalarsAndRefusesWhatIsNotJson) {
  FakeMachine machine;
  EXPECT_EQ(ZORJsonHelper::zorsec_objectFromJSONStringWithStr("5"), 5);
  EXPECT_EQ(zorsec_objectFromJSONData(utf8Bytes(" \"x\" ")), "x");
  EXPECT_EQ(zorsec_mutableObjectFromJSONString("null"), ZORValue());
  EXPECT_TRUE(zorsec_objectFromJSONString(nested(512)).has_value());
  EXPECT_TRUE(machine.log.lines().empty());

  const std::string refused[] = {"",
                                 "{",
                                 "{\"a\":1,}",
                                 "nan",
                                 "[1e999]",
                                 "\"\xC3(\"",
                                 "[\"\xED\xA0\x80\"]",
                                 nested(513),
                                 std::string("{}\0{}", 5)};
  for (const std::string& text : refused) {
    EXPECT_EQ(ZORJsonHelper::zorsec_objectFromJSONStringWithStr(text), std::nullopt) << text;
    EXPECT_EQ(zorsec_mutableObjectFromJSONData(utf8Bytes(text)), std::nullopt) << text;
  }
  EXPECT_EQ(machine.log.lines().size(), 2 * std::size(refused));
}

TEST(JsonHelperTest, ATextIsNeverATopLevelValueAndItsUncheckedTextIsEmpty) {
  FakeMachine machine;
  EXPECT_EQ(zorsec_JSONData(std::string("x")), std::nullopt);
  EXPECT_EQ(zorsec_JSONString(std::string("x")), "");
}

TEST(JsonHelperTest, ANullPointerIsRefused) {
  FakeMachine machine;
  const char* const none = nullptr;
  EXPECT_EQ(zorsec_JSONData(none), std::nullopt);
  EXPECT_EQ(zorsec_JSONString(none), std::nullopt);
  EXPECT_EQ(zorsec_objectFromJSONString(none), std::nullopt);
  EXPECT_EQ(zorsec_mutableObjectFromJSONString(none), std::nullopt);
  EXPECT_EQ(machine.log.lines().size(), 4U);
  EXPECT_EQ(ZORJsonHelper::zorsec_objectFromJSONStringWithStr(none), std::nullopt);
  EXPECT_EQ(machine.log.lines().size(), 4U) << "An absent argument is silent.";
}

}  // namespace
}  // namespace zor
