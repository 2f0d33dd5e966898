#include "collector/entry_accounts.h"

#include <ZORFingerPrint/ZORProbes.h>

#include <chrono>
#include <utility>

#include "collector/sealed_block.h"
#include "platform/ports.h"
#include "platform/probe_trace.h"
#include "support/json_codec.h"

namespace zor {
namespace {

// Only dictionaries, lists and null can be empty in this sense; "" is a text that is there.
bool isAbsent(const ZORValue& value) {
  return value.isNull() || ((value.isArray() || value.isDictionary()) && value.size() == 0);
}

EntryOutcome outcomeOf(const ZORValue& value, const ProbeTrace& trace) {
  if (!isAbsent(value)) return EntryOutcome::found;
  if (trace.late()) return EntryOutcome::noAnswer;
  if (trace.unavailable()) return EntryOutcome::unavailable;
  return trace.denied() ? EntryOutcome::notPermitted : EntryOutcome::absent;
}

// The value in the form that the block holds.
template <typename Value>
ZORValue entryOf(const std::optional<Value>& value) {
  return writableAsJson(ZORValue::orNull(value));
}

EntryAccount withheldAccount(Entry entry) {
  return {entry, nullptr, "", EntryOutcome::withheld, 0};
}

ZORValue accountOf(Entry entry, const std::function<ZORValue()>& probe,
                   std::vector<EntryAccount>& accounts) {
  const ProbeTrace trace;
  const auto start = std::chrono::steady_clock::now();
  ZORValue value = probe();
  const auto time = std::chrono::steady_clock::now() - start;
  accounts.push_back({entry, value, trace.sources(), outcomeOf(value, trace),
                      std::chrono::duration_cast<std::chrono::microseconds>(time).count()});
  return value;
}

// Adds the accounts of the entries made from the hardware addresses: each copies the account of the
// common reading, with its own value and outcome.
void addAddressAccounts(const ZORValue& block, const EntryAccount& reading,
                        std::vector<EntryAccount>& accounts) {
  const EntryOutcome missing =
      reading.outcome == EntryOutcome::found ? EntryOutcome::absent : reading.outcome;
  for (const Entry entry : {Entry::firstInterface, Entry::secondInterface, Entry::thirdInterface,
                            Entry::otherInterfaces}) {
    if (isWithheld(entry)) {
      accounts.push_back(withheldAccount(entry));
      continue;
    }
    EntryAccount account = reading;
    account.entry = entry;
    account.value = block[entryKey(entry)];
    account.outcome = isAbsent(account.value) ? missing : EntryOutcome::found;
    accounts.push_back(std::move(account));
  }
}

void addHardwareAddressAccounts(std::vector<EntryAccount>& accounts) {
  HardwareIdentity identity;
  DesignatedInterfaces designated;
  std::vector<EntryAccount> reading;
  accountOf(
      Entry::otherInterfaces,
      [&] {
        if (!areHardwareAddressesWanted()) return ZORValue();
        designated = ports().network.designatedInterfaces();
        const auto addresses = getMacAddress();
        if (addresses) identity.hardwareAddresses = *addresses;
        return entryOf(addresses);
      },
      reading);
  addAddressAccounts(identityBlock(identity, designated), reading.front(), accounts);
}

}  // namespace

ZORValue accountedValue(Entry entry, const std::function<ZORValue()>& probe,
                        std::vector<EntryAccount>& accounts) {
  if (!isWithheld(entry)) return accountOf(entry, probe, accounts);
  accounts.push_back(withheldAccount(entry));
  return nullptr;
}

std::vector<EntryAccount> sealedBlockAccounts() {
  std::vector<EntryAccount> accounts;
  addHardwareAddressAccounts(accounts);
  accountedValue(
      Entry::bluetoothAddress, [] { return entryOf(getBluetoothAddress()); }, accounts);
  accountedValue(
      Entry::hardwareUUID, [] { return entryOf(getHardwareUDID()); }, accounts);
  accountedValue(
      Entry::serialNumber, [] { return entryOf(getHardwareSerialNumber()); }, accounts);
  return accounts;
}

}  // namespace zor
