#include "collector/entry_accounts.h"

#include <gtest/gtest.h>

#include <map>

#include "collector/ZORDataCollector_mac.h"
#include "platform/probe_trace.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

using testing::FakeMachine;

TEST(EntryAccounts, DistinguishAbsentFromNotPermitted) {
  std::vector<EntryAccount> accounts;
  accountedValue(
      Entry::model,
      [] {
        noteProbeDenied("first source");  // A fallback gave the value.
        noteProbeSource("second source");
        return ZORValue("");
      },
      accounts);
  accountedValue(
      Entry::usbDevices, [] { return ZORValue::array(); }, accounts);
  accountedValue(
      Entry::productName,
      [] {
        noteProbeDenied("/sys/serial");
        return ZORValue();
      },
      accounts);
  accountedValue(
      Entry::powerSource,
      [] {
        noteProbeLate("batteries");
        return ZORValue();
      },
      accounts);
  accountedValue(
      Entry::bluetoothName,
      [] {
        noteProbeUnavailable("registry");
        return ZORValue();
      },
      accounts);
  ASSERT_EQ(accounts.size(), 5U);
  EXPECT_EQ(accounts[4].outcome, EntryOutcome::unavailable);
  EXPECT_EQ(accounts[3].outcome, EntryOutcome::noAnswer);
  EXPECT_EQ(accounts[0].outcome, EntryOutcome::found);
  EXPECT_EQ(accounts[0].sources, "first source, second source");
  EXPECT_EQ(accounts[1].outcome, EntryOutcome::absent);
  EXPECT_EQ(accounts[2].outcome, EntryOutcome::notPermitted);
  EXPECT_EQ(accounts[2].sources, "/sys/serial");
}

TEST(EntryAccounts, CoverTheReportAndTheSealedBlockAndLeaveTheReportUnchanged) {
  FakeMachine machine;
  machine.network.designated.first = "eth0";
  machine.devices.addresses = {{"eth0", Data{1, 2, 3, 4, 5, 6}}};

  std::vector<EntryAccount> accounts;
  const ZORValue report = ZORDataCollector_mac().collectWithAccounts(accounts);
  EXPECT_EQ(report, ZORDataCollector_mac().collect());

  std::map<std::string, EntryOutcome> outcomes;
  for (const EntryAccount& account : accounts) outcomes[entryKey(account.entry)] = account.outcome;
  EXPECT_EQ(outcomes.size(), 23U + 7U);
  for (const auto& [key, value] : report.entries()) EXPECT_EQ(outcomes.count(key), 1U) << key;
  EXPECT_EQ(outcomes["firstInterfaceAddress"], EntryOutcome::found);
  EXPECT_EQ(outcomes["secondInterfaceAddress"], EntryOutcome::absent);
  EXPECT_EQ(outcomes["otherInterfaceAddresses"], EntryOutcome::absent);
  EXPECT_EQ(outcomes["usbDeviceList"], EntryOutcome::absent);
}

}  // namespace
}  // namespace zor
