#include <gtest/gtest.h>

#include <limits>
#include <tuple>

#include "literals/literals.h"
#include "store/dfp_cache.h"
#include "store/dfp_store.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

using testing::FakeMachine;
constexpr double kNow = 1700000000;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string fingerprintKey() { return dfp_slot_key(literals::kFingerprintSlot.view()); }
std::string expiryKey() { return dfp_slot_key(literals::kExpirySlot.view()); }
std::string lifetimeKey() { return dfp_slot_key(literals::kLifetimeSlot.view()); }
std::string storedAtKey() { return dfp_slot_key(literals::kStoredAtSlot.view()); }

ZORValue answerData(const ZORValue& fingerprint, const ZORValue& expiryMs,
                    const ZORValue& lifetimeSeconds) {
  return ZORValue::dictionary({{literals::kAnswerFingerprintKey.str(), fingerprint},
                               {literals::kAnswerExpiryKey.str(), expiryMs},
                               {literals::kAnswerLifetimeKey.str(), lifetimeSeconds}});
}

TEST(CacheExpiryTest, LifetimeRuleWinsAndEveryComparisonIsStrict) {
  const std::optional<double> none;
  const struct {
    const char* sentence;
    CacheTimes times;
    bool expired;
  } rows[] = {
      {"no expiry, whatever else is there", {none, 1e9, kNow}, true},
      {"now is the expiry", {kNow, none, none}, false},
      {"now is past the expiry", {kNow - 0.5, none, none}, true},
      {"now is stored-at plus lifetime, the expiry is past", {0.0, 10.0, kNow - 10}, false},
      {"now is past stored-at plus lifetime, the expiry is far", {kNow * 2, 10.0, kNow - 11}, true},
      {"stored now", {kNow, 10.0, kNow}, false},
      {"stored a second ahead", {kNow * 2, 10.0, kNow + 1}, true},
      {"a lifetime without a store time: the expiry decides", {kNow - 1, 1e9, none}, true},
      {"a store time without a lifetime: the expiry decides", {kNow + 1, none, kNow + 9}, false},
      {"no number", {kNaN, none, none}, true},
      {"no number in the lifetime", {kNow + 1, kNaN, kNow}, true},
  };
  for (const auto& row : rows) EXPECT_EQ(isExpired(row.times, kNow), row.expired) << row.sentence;
}

TEST(CacheExpiryTest, NumbersAndNumericTextsCountAlikeAndOtherKindsAreNotTimes) {
  const auto dictionary = ZORValue::dictionary({{"a", 1.0}});
  const struct {
    const char* sentence;
    std::vector<std::pair<std::string, ZORValue>> kept;
    bool expired;
  } rows[] = {
      {"a text", {{expiryKey(), "1700000000"}}, false},
      {"a number", {{expiryKey(), kNow}}, false},
      {"leading white space and a tail", {{expiryKey(), " 1700000000.5x"}}, false},
      {"no number at all", {{expiryKey(), "soon"}}, true},
      {"a dictionary is no expiry", {{expiryKey(), dictionary}}, true},
      {"a date is no expiry", {{expiryKey(), ZORDate{kNow + 9}}}, true},
      {"a dictionary is no lifetime",
       {{expiryKey(), kNow}, {lifetimeKey(), dictionary}, {storedAtKey(), kNow - 99}},
       false},
      {"an empty text is no store time",
       {{expiryKey(), kNow}, {lifetimeKey(), 1.0}, {storedAtKey(), ""}},
       false},
      {"text and number mixed",
       {{expiryKey(), ""}, {lifetimeKey(), "5"}, {storedAtKey(), kNow - 5}},
       false},
  };
  for (const auto& row : rows) {
    FakeMachine machine;
    for (const auto& [key, value] : row.kept) machine.defaults.setObject(key, value);
    EXPECT_EQ(is_dfp_expired(), row.expired) << row.sentence;
  }
}

TEST(CacheTest, AnAnswerIsKeptInBothPlacesWithItsTimesAsText) {
  FakeMachine machine;
  machine.clock.set(1700000000.25);
  storeFingerprint(answerData("fp-1", 1700000086400500, "86400 s"));
  EXPECT_EQ(dfp_store_read(fingerprintKey()).content(), "fp-1");
  EXPECT_EQ(machine.defaults.objectForKey(fingerprintKey()), "fp-1");
  EXPECT_EQ(machine.defaults.objectForKey(expiryKey()), "1700000086400.5");
  EXPECT_EQ(machine.defaults.objectForKey(lifetimeKey()), "86400");
  EXPECT_EQ(machine.defaults.objectForKey(storedAtKey()), "1700000000.25");

  std::ignore = clear_dfp_cache();
  EXPECT_EQ(cachedFingerprint(), std::nullopt);
  for (const auto& key : {fingerprintKey(), expiryKey(), lifetimeKey(), storedAtKey()}) {
    EXPECT_EQ(machine.defaults.objectForKey(key), std::nullopt);
  }
}

TEST(CacheTest, OnlyATextIsAFingerprint) {
  FakeMachine machine;
  const ZORValue answers[] = {answerData(17, 1, 1),    answerData(nullptr, 1, 1), "fp", nullptr,
                              ZORValue::array({"fp"}), ZORValue::dictionary()};
  for (const ZORValue& answer : answers) storeFingerprint(answer);
  EXPECT_FALSE(machine.files.exists(storeFilePath().value()));
  EXPECT_EQ(machine.defaults.objectForKey(expiryKey()), std::nullopt);

  machine.defaults.setObject(fingerprintKey(), 17.0);
  EXPECT_EQ(cachedFingerprint(), std::nullopt);
  std::ignore = dfp_store_write(fingerprintKey(), "from the file");
  EXPECT_EQ(cachedFingerprint(), "from the file");
  machine.defaults.setObject(fingerprintKey(), "from the defaults");
  EXPECT_EQ(cachedFingerprint(), "from the defaults");
}

TEST(CacheTest, HostileTimesAreBoundedAndNeverThrow) {
  const struct {
    ZORValue given;
    const char* keptLifetime;
  } rows[] = {
      {1e300, "9223372036854775807"},
      {-1e300, "-9223372036854775808"},
      {std::numeric_limits<std::uint64_t>::max(), "9223372036854775807"},
      {"99999999999999999999", "9223372036854775807"},
      {" -12.9", "-12"},
      {86400.9, "86400"},
      {true, "1"},
      {nullptr, "0"},
      {ZORValue::array({1}), "0"},
      {ZORValue::dictionary(), "0"},
  };
  for (const auto& row : rows) {
    FakeMachine machine;
    storeFingerprint(answerData("fp", row.given, row.given));
    const auto kept = machine.defaults.objectForKey(lifetimeKey());
    ASSERT_TRUE(kept && kept->text()) << jsonForDisplay(row.given);
    EXPECT_EQ(std::stod(*kept->text()), std::stod(row.keptLifetime)) << jsonForDisplay(row.given);
  }
}

TEST(CacheTest, AnExpiryOfZeroIsExpiredAtOnce) {
  FakeMachine machine;
  ZORValue answer = answerData("fp", 0, 1);
  answer.erase(literals::kAnswerLifetimeKey.view());  // Missing reads as 0.
  storeFingerprint(answer);
  EXPECT_EQ(machine.defaults.objectForKey(expiryKey()), "0");
  machine.clock.advance(1);
  EXPECT_TRUE(is_dfp_expired());
}

}  // namespace
}  // namespace zor
