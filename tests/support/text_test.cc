#include "support/text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <limits>

namespace zor {
namespace {

TEST(TimeText, IsShortestAndReadsBackToTheSameDouble) {
  const struct {
    double number;
    const char* text;
  } rows[] = {{0.0, "0"},
              {86400, "86400"},
              {0.1, "0.1"},
              {1700000000, "1700000000"},
              {1732300800.123456, "1732300800.123456"},
              {-1.5, "-1.5"},
              {9007199254740993.0, "9007199254740992"},
              {1e21, "1e+21"},
              {5e-324, "5e-324"},
              {1.0 / 3, "0.3333333333333333"}};
  for (const auto& row : rows) {
    EXPECT_EQ(shortestDecimal(row.number), row.text);
    EXPECT_EQ(doubleValue(row.text), row.number) << row.text;
  }
}

TEST(TimeText, DoesNotFollowTheHostsLocale) {
  if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "no such locale here";
  EXPECT_EQ(shortestDecimal(0.5), "0.5");
  EXPECT_EQ(doubleValue("0.5"), 0.5);
  std::setlocale(LC_ALL, "C");
}

TEST(DoubleValue, TakesTheLongestValidPrefix) {
  const struct {
    const char* text;
    double number;
  } rows[] = {{"", 0},       {"abc", 0},     {" \t\n12.5xyz", 12.5},
              {"+3", 3},     {"-.5", -0.5},  {".", 0},
              {"5.", 5},     {"1e3", 1000},  {"1e", 1},
              {"1e+", 1},    {"0x10", 0},    {"inf", 0},
              {"nan", 0},    {"1,5", 1},     {"- 1", 0},
              {"1e-400", 0}, {"12 34", 12.0}};
  for (const auto& row : rows) EXPECT_EQ(doubleValue(row.text), row.number) << row.text;
  EXPECT_EQ(doubleValue("1e999"), std::numeric_limits<double>::infinity());
}

TEST(LongLongValue, StopsAtThePointAndAtTheLimits) {
  EXPECT_EQ(longLongValue(" 42.9"), 42);
  EXPECT_EQ(longLongValue("-7x"), -7);
  EXPECT_EQ(longLongValue("x"), 0);
  EXPECT_EQ(longLongValue("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(longLongValue("9223372036854775808"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(longLongValue("-99999999999999999999"), std::numeric_limits<std::int64_t>::min());
}

TEST(FormatText, NilShowsAsNullAndArgumentsAreNotFormats) {
  EXPECT_EQ(formatText("a:%@ b:%@ c:%@", {"%@", std::nullopt}), "a:%@ b:(null) c:(null)");
  EXPECT_EQ(formatText("100% %%@%% %@%", {"%%"}), "100% %@% %%%");
}

TEST(Utf8, RefusesWhatDecodersDisagreeOn) {
  EXPECT_TRUE(isValidUtf8("Zo\xC3\xAB \xF0\x9F\x98\x80"));
  for (const char* text : {"\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\x80"}) {
    EXPECT_FALSE(isValidUtf8(text));
  }
  EXPECT_EQ(utf16Length("a\xC3\xAB\xF0\x9F\x98\x80"), 4U);
  EXPECT_EQ(utf16Units("\xF0\x9F\x98\x80"), (std::vector<std::uint16_t>{0xD83D, 0xDE00}));
}

}  // namespace
}  // namespace zor
