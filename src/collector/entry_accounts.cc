#include "collector/entry_accounts.h"

#include <ZORFingerPrint/ZORProbes.h>

#include <chrono>

#include "collector/sealed_block.h"
#include "literals/literals.h"
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
  return trace.denied() ? EntryOutcome::notPermitted : EntryOutcome::absent;
}

// As it stands in the block.
template <typename Value>
ZORValue entryOf(const std::optional<Value>& value) {
  return writableAsJson(ZORValue::orNull(value));
}

// The accounts of the entries made of the hardware addresses: each that of the common reading, with
// an outcome of its own.
void addAddressAccounts(const ZORValue& block, EntryAccount reading,
                        std::vector<EntryAccount>& accounts) {
  const EntryOutcome missing =
      reading.outcome == EntryOutcome::found ? EntryOutcome::absent : reading.outcome;
  for (const std::string& key :
       {literals::kSealedFirstInterfaceKey.str(), literals::kSealedSecondInterfaceKey.str(),
        literals::kSealedThirdInterfaceKey.str(), literals::kSealedOtherInterfacesKey.str()}) {
    reading.entry = key;
    reading.outcome = isAbsent(block[key]) ? missing : EntryOutcome::found;
    accounts.push_back(reading);
  }
}

}  // namespace

ZORValue accountedValue(const std::string& entry, const std::function<ZORValue()>& probe,
                        std::vector<EntryAccount>& accounts) {
  const ProbeTrace trace;
  const auto start = std::chrono::steady_clock::now();
  ZORValue value = probe();
  const auto time = std::chrono::steady_clock::now() - start;
  accounts.push_back({entry, trace.sources(), outcomeOf(value, trace),
                      std::chrono::duration_cast<std::chrono::microseconds>(time).count()});
  return value;
}

std::vector<EntryAccount> sealedBlockAccounts() {
  HardwareIdentity identity;
  DesignatedInterfaces designated;
  std::vector<EntryAccount> reading;
  accountedValue(
      "",
      [&] {
        designated = ports().network.designatedInterfaces();
        const auto addresses = getMacAddress();
        if (addresses) identity.hardwareAddresses = *addresses;
        return entryOf(addresses);
      },
      reading);
  std::vector<EntryAccount> accounts;
  addAddressAccounts(identityBlock(identity, designated), reading.front(), accounts);
  accountedValue(
      literals::kSealedBluetoothAddressKey.str(), [] { return entryOf(getBluetoothAddress()); },
      accounts);
  accountedValue(
      literals::kSealedHardwareUUIDKey.str(), [] { return entryOf(getHardwareUDID()); }, accounts);
  accountedValue(
      literals::kSealedSerialNumberKey.str(), [] { return entryOf(getHardwareSerialNumber()); },
      accounts);
  return accounts;
}

}  // namespace zor
