#include <gtest/gtest.h>

#include "collector/ZORDataCollector_mac.h"
#include "collector/report_entries.h"
#include "collector/sealed_block.h"
#include "literals/literals.h"
#include "support/json_codec.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

using testing::FakeMachine;

template <typename HiddenKey>
Json entry(const Json& report, const HiddenKey& key) {
  return report.at(key.str());
}

TEST(ReportTest, ABareMachineStillReportsEveryEntry) {
  FakeMachine machine;
  machine.bundle.identifier.reset();
  machine.bundle.info = Json::object();
  const Json report = ZORDataCollector_mac().collect();
  EXPECT_EQ(report.size(), 23U);
  EXPECT_EQ(entry(report, literals::kParamPowerSourceKey), Json());
  EXPECT_EQ(entry(report, literals::kParamBundleValueKey), Json());
  EXPECT_EQ(entry(report, literals::kParamUSBDevicesKey), Json::array());
  EXPECT_EQ(entry(report, literals::kParamPathsKey), Json::object());
  EXPECT_EQ(entry(report, literals::kParamStorageSizeKey), Json(-1));
  EXPECT_EQ(entry(report, literals::kParamCpuCountKey), Json(0U));
  EXPECT_EQ(entry(report, literals::kParamIntegrityKey), Json::array({0, 0}));
  EXPECT_EQ(entry(report, literals::kParamMemorySizeKey), Json(1 << 30));
  EXPECT_TRUE(openSealedBlock(entry(report, literals::kParamSealedBlockKey)).has_value());
}

TEST(ReportTest, HardwareIdentitiesStandInTheSealedEntryOnly) {
  FakeMachine machine;
  machine.registry.add(literals::kHardwareUUIDClass.str())
      .properties[literals::kHardwareUUIDProperty.str()] = std::string("UUID-OF-THIS-MACHINE");
  const Json report = ZORDataCollector_mac().collect();
  EXPECT_EQ(report.dump().find("UUID-OF-THIS-MACHINE"), std::string::npos);
  const auto block = openSealedBlock(entry(report, literals::kParamSealedBlockKey));
  ASSERT_TRUE(block.has_value());
  EXPECT_EQ(block->size(), 7U);
  EXPECT_EQ(block->at(literals::kSealedHardwareUUIDKey.str()), "UUID-OF-THIS-MACHINE");
}

TEST(ReportTest, WhatJsonCannotHoldCostsNoOtherValue) {
  FakeMachine machine;
  machine.system.version = "\xC3(";
  machine.bundle.info["CFBundleShortVersionString"] = {{"good", {1, "\xFF"}}, {"\xFF", 2}};
  Json report = ZORDataCollector_mac().collect();
  EXPECT_TRUE(serializeJson(report).has_value());
  EXPECT_EQ(entry(report, literals::kParamSystemVersionKey), Json());
  EXPECT_EQ(entry(report, literals::kParamBundleValueKey), Json({{"good", {1, nullptr}}}));

  Json deep = 1;  // May be written alone, but not as an entry.
  for (int level = 0; level < kDeepestJsonNesting; ++level) deep = Json::array({deep});
  machine.bundle.info["CFBundleShortVersionString"] = deep;
  report = ZORDataCollector_mac().collect();
  EXPECT_TRUE(serializeJson(report).has_value());
}

TEST(ReportTest, AProbeThatThrowsGivesNull) {
  const ReportEntry failing{"key", []() -> Json { throw std::runtime_error("odd machine"); }};
  EXPECT_EQ(reportValue(failing), Json());
}

TEST(ReportTest, LoadingEnablesTheIntegritySignal) {
  FakeMachine machine;
  machine.integrity.value = {5, 9};
  ZORDataCollector_mac::load();
  const Json report = ZORDataCollector_mac().collect();
  EXPECT_EQ(entry(report, literals::kParamIntegrityKey), Json::array({5, 9}));
}

}  // namespace
}  // namespace zor
