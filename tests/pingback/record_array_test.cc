#include "pingback/record_array.h"

#include <gtest/gtest.h>

#include "support/json_codec.h"
#include "support/text.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

const Json kRecord = {
    {"text", "q\" b\\ / \x01\x1f\n \xc3\xa9 \xf0\x9f\x98\x80"}, {"class", -2}, {"", ""}};

std::string parsedAndWritten(const std::string& text) {
  Json records = parseJson(text).value_or(Json::array());
  if (!records.is_array()) records = Json::array();
  records.push_back(kRecord);
  return serializeJson(records).value();
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

// Any change of one byte: what is taken as it stands must be JSON, and say the same when parsed.
TEST(RecordArray, IsNeverContinuedWhereItIsDamaged) {
  const testing::FakeMachine logsToNobody;
  const std::string sound =
      serializeJson(Json::array({kRecord, Json::object(), {{"n", 10}}})).value();
  ASSERT_TRUE(isCompactRecordArray(sound));
  const std::string bytes = std::string("\0\x1f\xff\x80 \t\n,:[]{}\"\\/-+.eEnu019aAtf", 31);
  int continued = 0;
  const auto check = [&](const std::string& text) {
    if (!isValidUtf8(text)) return;
    continued += isCompactRecordArray(text) ? 1 : 0;
    const auto next = arrayWithRecord(text, kRecord);
    EXPECT_EQ(parseJson(next.value()), parseJson(parsedAndWritten(text))) << text;
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
  EXPECT_EQ(arrayWithRecord(sound, Json{{"text", "\xff"}}), std::nullopt);
  Json deep = Json::object();
  for (int level = 1; level < kDeepestJsonNesting; ++level) deep = Json{{"deeper", deep}};
  EXPECT_EQ(arrayWithRecord(sound, deep), std::nullopt);
  EXPECT_TRUE(arrayWithRecord(sound, deep.at("deeper")).has_value());
}

}  // namespace
}  // namespace zor
