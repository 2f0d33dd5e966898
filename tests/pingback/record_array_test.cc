#include "pingback/record_array.h"

#include <gtest/gtest.h>

#include "support/json_codec.h"
#include "support/text.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

const auto kRecord = ZORValue::dictionary(
    {{"text", "q\" b\\ / \x01\x1f\n \xc3\xa9 \xf0\x9f\x98\x80"}, {"class", -2}, {"", ""}});

std::string parsedAndWritten(const std::string& text) {
  ZORValue records = testing::json(text);
  if (!records.isArray()) records = ZORValue::array();
  records.append(kRecord);
  return jsonFromValue(records).value();
}

TEST(RecordArray, IsContinuedAsIfItHadBeenParsed) {
  std::optional<std::string> text;
  std::string expected = "[]";
  for (int records = 0; records < 3; ++records) {
    text = arrayWithRecord(text, kRecord);
    expected = parsedAndWritten(expected);
    EXPECT_EQ(text, expected);
    EXPECT_TRUE(isCompactRecordArray(*text));
  }
}

// Any change of one byte: what is taken as it is must be JSON with the same value when parsed.
TEST(RecordArray, IsNeverContinuedWhereItIsDamaged) {
  const testing::FakeMachine logsToNobody;
  const std::string sound =
      jsonFromValue(ZORValue::array({kRecord, testing::json("{}"), testing::json("{\"n\":10}")}))
          .value();
  ASSERT_TRUE(isCompactRecordArray(sound));
  const std::string bytes = std::string("\0\x1f\xff\x80 \t\n,:[]{}\"\\/-+.eEnu019aAtf", 31);
  int continued = 0;
  const auto check = [&](const std::string& text) {
    if (!isValidUtf8(text)) return;
    continued += isCompactRecordArray(text) ? 1 : 0;
    const auto next = arrayWithRecord(text, kRecord);
    EXPECT_EQ(testing::json(next.value()), testing::json(parsedAndWritten(text))) << text;
  };
  for (std::size_t place = 0; place < sound.size(); ++place) {
    check(sound.substr(0, place));
    check(sound.substr(0, place) + sound.substr(place + 1));
    for (const char byte : bytes) {
      std::string changed = sound;
      changed[place] = byte;
      check(changed);
      check(sound.substr(0, place) + byte + sound.substr(place));
    }
  }
  EXPECT_GT(continued, 100);  // Changes within texts and numbers.
}

TEST(RecordArray, RefusesWhatJsonCannotHoldAndWhatCouldNotBeReadBack) {
  const std::string sound = R"([{"n":1}])";
  EXPECT_EQ(arrayWithRecord(sound, ZORValue::dictionary({{"text", "\xff"}})), std::nullopt);
  ZORValue deep = ZORValue::dictionary();
  for (int level = 1; level < kMaxJsonNesting; ++level) {
    deep = ZORValue::dictionary({{"deeper", deep}});
  }
  EXPECT_EQ(arrayWithRecord(sound, deep), std::nullopt);
  EXPECT_TRUE(arrayWithRecord(sound, deep["deeper"]).has_value());
}

}  // namespace
}  // namespace zor
