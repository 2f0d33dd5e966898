#include <ZORFingerPrint/ZORFingerPrint.h>
#include <gtest/gtest.h>

#include "collector/ZORDataCollector_mac.h"
#include "collector/sealed_block.h"
#include "literals/literals.h"
#include "support/json_codec.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

using testing::FakeMachine;

template <typename HiddenKey>
const ZORValue& entry(const ZORValue& report, const HiddenKey& key) {
  return report[key.view()];
}

TEST(ReportTest, ABareMachineStillReportsEveryEntry) {
  FakeMachine machine;
  machine.bundle.identifier.reset();
  machine.bundle.info = ZORValue::dictionary();
  const ZORValue report = ZORDataCollector_mac().collect();
  EXPECT_EQ(report.size(), 23U);
  EXPECT_EQ(entry(report, literals::kParamPowerSourceKey), nullptr);
  EXPECT_EQ(entry(report, literals::kParamBundleValueKey), nullptr);
  EXPECT_EQ(entry(report, literals::kParamUSBDevicesKey), ZORValue::array());
  EXPECT_EQ(entry(report, literals::kParamPathsKey), ZORValue::dictionary());
  EXPECT_EQ(entry(report, literals::kParamStorageSizeKey), -1);
  EXPECT_EQ(entry(report, literals::kParamCpuCountKey), 0);
  EXPECT_EQ(entry(report, literals::kParamIntegrityKey), ZORValue::array({0, 0}));
  EXPECT_EQ(entry(report, literals::kParamMemorySizeKey), 1 << 30);
  EXPECT_TRUE(openSealedBlock(*entry(report, literals::kParamSealedBlockKey).text()).has_value());
}

TEST(ReportTest, HardwareIdentitiesAreInTheSealedEntryOnly) {
  FakeMachine machine;
  machine.devices.uuid = "UUID-OF-THIS-MACHINE";
  const ZORValue report = ZORDataCollector_mac().collect();
  EXPECT_EQ(jsonForDisplay(report).find("UUID-OF-THIS-MACHINE"), std::string::npos);
  const auto block = openSealedBlock(*entry(report, literals::kParamSealedBlockKey).text());
  ASSERT_TRUE(block.has_value());
  EXPECT_EQ(block->size(), 7U);
  EXPECT_EQ((*block)[literals::kSealedHardwareUUIDKey.view()], "UUID-OF-THIS-MACHINE");
}

TEST(ReportTest, WhatJsonCannotHoldCostsNoOtherValue) {
  FakeMachine machine;
  machine.system.version = "\xC3(";
  machine.bundle.info.set(
      "CFBundleShortVersionString",
      ZORValue::dictionary({{"good", ZORValue::array({1, "\xFF", Data{1}})}, {"\xFF", 2}}));
  ZORValue report = ZORDataCollector_mac().collect();
  EXPECT_TRUE(jsonFromValue(report).has_value());
  EXPECT_EQ(entry(report, literals::kParamSystemVersionKey), nullptr);
  EXPECT_EQ(entry(report, literals::kParamBundleValueKey),
            testing::json(R"({"good":[1,null,null]})"));

  ZORValue deep = 1;  // Can be written by itself, but not as an entry.
  for (int level = 0; level < kMaxJsonNesting; ++level) deep = ZORValue::array({deep});
  machine.bundle.info.set("CFBundleShortVersionString", deep);
  report = ZORDataCollector_mac().collect();
  EXPECT_TRUE(jsonFromValue(report).has_value());
}

TEST(ReportTest, TheProbesOfWithheldEntriesDoNotRunAndTheWireKeepsItsKeys) {
  FakeMachine machine;
  machine.devices.uuid = "A-B";
  const auto withhold = [](const std::vector<std::string>& names) {
    ZORConfig config;
    EXPECT_FALSE(config.setWithheldEntries(names));
    ZORFingerPrint::setWithConfig(config);
  };
  withhold({"shared-identifier", "installation-identifier", "hardware-uuid",
            "other-interface-addresses"});
  const ZORValue report = ZORDataCollector_mac().collect();
  EXPECT_EQ(report.size(), 23U);
  EXPECT_EQ(report[literals::kParamSharedIdentifierKey.view()], nullptr);
  EXPECT_EQ(machine.pasteboards.looks, 0);
  EXPECT_EQ(report[literals::kParamInstallationIdentifierKey.view()], nullptr);
  const auto block = openSealedBlock(*report[literals::kParamSealedBlockKey.view()].text());
  EXPECT_EQ(block->size(), 7U);
  EXPECT_EQ((*block)[literals::kSealedHardwareUUIDKey.view()], nullptr);
  EXPECT_EQ((*block)[literals::kSealedOtherInterfacesKey.view()], nullptr);
  withhold({"sealed-block"});
  EXPECT_EQ(ZORDataCollector_mac().collect()[literals::kParamSealedBlockKey.view()], nullptr);
  withhold({});
  EXPECT_TRUE(ZORDataCollector_mac().collect()[literals::kParamSealedBlockKey.view()].isText());

  ZORConfig config;
  const auto error = config.setWithheldEntries({"wifi", "Serial-number"});
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, ZOR_FINGERPRINT_ERROR_UNKNOWN_ENTRY);
  EXPECT_NE(error->localizedDescription.find("\"serial-number\""), std::string::npos);
  EXPECT_FALSE(config.withheldEntries());
}

TEST(ReportTest, AProbeThatThrowsGivesNull) {
  const ReportEntry failing{"key", []() -> ZORValue { throw std::runtime_error("odd machine"); },
                            Entry::model};
  EXPECT_EQ(reportValue(failing), nullptr);
}

TEST(ReportTest, LoadingEnablesTheIntegritySignal) {
  FakeMachine machine;
  machine.integrity.value = {5, 9};
  ZORDataCollector_mac::load();
  const ZORValue report = ZORDataCollector_mac().collect();
  EXPECT_EQ(entry(report, literals::kParamIntegrityKey), ZORValue::array({5, 9}));
}

}  // namespace
}  // namespace zor
