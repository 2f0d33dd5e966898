#include <ZORFingerPrint/ZORValue.h>
#include <gtest/gtest.h>

#include <limits>

#include "support/json_codec.h"

namespace zor {
namespace {

constexpr std::int64_t kMaxSigned = std::numeric_limits<std::int64_t>::max();
constexpr auto kAboveSigned = static_cast<std::uint64_t>(kMaxSigned) + 1;

static_assert(!std::is_constructible_v<ZORValue, void*>);
static_assert(!std::is_constructible_v<ZORValue, const int*>);
static_assert(!std::is_constructible_v<ZORValue, char>);
static_assert(std::is_nothrow_move_constructible_v<ZORValue>);

TEST(ValueTest, NumbersCompareByValueAndExactly) {
  EXPECT_EQ(ZORValue(1), ZORValue(1.0));
  EXPECT_EQ(ZORValue(1U).kind(), ZORValue::Kind::integer);
  EXPECT_EQ(ZORValue(kAboveSigned).kind(), ZORValue::Kind::unsignedInteger);
  EXPECT_EQ(ZORValue(kAboveSigned), ZORValue(9223372036854775808.0));
  EXPECT_NE(ZORValue(kMaxSigned), ZORValue(9223372036854775808.0));
  EXPECT_NE(ZORValue(-1), ZORValue(std::numeric_limits<std::uint64_t>::max()));
  EXPECT_NE(ZORValue(1), ZORValue(1.5));
  EXPECT_NE(ZORValue(1), ZORValue(true));
  EXPECT_NE(ZORValue(0), ZORValue());
  EXPECT_EQ(ZORValue(-1).unsignedInteger(), std::nullopt);
}

TEST(ValueTest, ANullPointerIsNeitherATextNorAKey) {
  const char* const none = nullptr;
  EXPECT_TRUE(ZORValue(none).isNull());
  ZORValue value = ZORValue::dictionary({{"a", "b"}});
  EXPECT_EQ(value.find(none), nullptr);
  EXPECT_TRUE(value[none].isNull());
  EXPECT_EQ(value.set(none, 1), nullptr);
  EXPECT_FALSE(value.erase(none));
  EXPECT_EQ(value, ZORValue::dictionary({{"a", "b"}}));
}

TEST(ValueTest, EntriesAreSetInDictionariesAndElementsAddedToArraysOnly) {
  ZORValue value;
  EXPECT_EQ(value["a"]["b"][0], nullptr);
  ASSERT_NE(value.set("list", {}), nullptr);
  EXPECT_EQ(*value.set("list", nullptr)->append("x"), "x");
  EXPECT_EQ(value["list"][0], "x");
  EXPECT_EQ(value.append(1), nullptr);
  EXPECT_EQ(ZORValue("text").set("a", 1), nullptr);
  EXPECT_TRUE(value.erase("list"));
  EXPECT_EQ(value, ZORValue::dictionary());
}

TEST(ValueTest, AValueMayReplaceTheOneThatHoldsIt) {
  ZORValue value = ZORValue::array({ZORValue::array({"inner", 1})});
  value = value[0];
  EXPECT_EQ(value, ZORValue::array({"inner", 1}));
  value = std::move(*value.append(ZORValue::dictionary({{"a", 2}})));
  EXPECT_EQ(value, ZORValue::dictionary({{"a", 2}}));
}

TEST(ValueTest, AnyDepthOfNestingIsDestroyed) {
  ZORValue value;
  for (int level = 0; level < 100'000; ++level) {
    ZORValue outer = ZORValue::array();
    outer.append(std::move(value));
    value = std::move(outer);
  }
  EXPECT_EQ(value.size(), 1U);
}

TEST(ValueTest, TheKindOfANumberInJsonIsTheNarrowestThatHoldsIt) {
  const auto value = valueFromJson("[-1, 9223372036854775808, 18446744073709551616, 1.0]");
  ASSERT_TRUE(value.has_value());
  EXPECT_EQ((*value)[0].integer(), -1);
  EXPECT_EQ((*value)[1].unsignedInteger(), kAboveSigned);
  EXPECT_EQ((*value)[2].kind(), ZORValue::Kind::real);
  EXPECT_EQ(jsonFromValue(*value), "[-1,9223372036854775808,1.8446744073709552e+19,1.0]");
}

TEST(ValueTest, ATextOfTooManyValuesIsRefused) {
  std::string text = "[0";  // The array counts as well.
  for (std::size_t count = 1; count < kMaxJsonValues; ++count) text += ",0";
  EXPECT_EQ(valueFromJson(text + "]"), std::nullopt);
}

TEST(ValueTest, WhatHasNoFormInJsonIsRefusedButShown) {
  const ZORValue value = ZORValue::dictionary({{"data", Data{1}}, {"date", ZORDate{1}}});
  EXPECT_EQ(jsonFromValue(value), std::nullopt);
  EXPECT_EQ(jsonForDisplay(value), "{\"data\":null,\"date\":null}");
  EXPECT_EQ(jsonForDisplay("\xC3(\x01"), "\"\xEF\xBF\xBD(\\u0001\"");
}

}  // namespace
}  // namespace zor
