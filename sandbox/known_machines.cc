#include "sandbox/known_machines.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "sandbox/profile_words.h"
#include "sandbox/service_crypto.h"
#include "support/json_codec.h"

namespace zor::sandbox {
namespace {

constexpr std::size_t kFingerprintDigits = 48;
constexpr std::size_t kMaxMachines = 10000;

std::size_t sharedCount(const std::set<std::string>& left, const std::set<std::string>& right) {
  return static_cast<std::size_t>(std::count_if(
      left.begin(), left.end(), [&](const std::string& part) { return right.count(part) != 0; }));
}

void addText(const ZORValue& value, const std::string& role, std::set<std::string>& parts) {
  if (const std::string* text = value.text()) parts.insert(role + *text);
}

}  // namespace

KnownMachines::Machine KnownMachines::describedBy(const ZORValue& identity) {
  Machine machine;
  for (const std::string& key :
       {words::kSealedFirstInterfaceKey.str(), words::kSealedSecondInterfaceKey.str(),
        words::kSealedThirdInterfaceKey.str(), words::kSealedBluetoothAddressKey.str()}) {
    addText(identity[key], "", machine.addresses);
  }
  // By address; interface names do not count.
  for (const auto& other : identity[words::kSealedOtherInterfacesKey.view()].entries()) {
    addText(other.second, "", machine.addresses);
  }
  addText(identity[words::kSealedHardwareUUIDKey.view()], "UUID ", machine.others);
  addText(identity[words::kSealedSerialNumberKey.view()], "serial ", machine.others);
  return machine;
}

bool KnownMachines::isSameMachine(const Machine& known, const Machine& seen) {
  const std::size_t sharedAddresses = sharedCount(known.addresses, seen.addresses);
  const bool isClone = sharedAddresses == 0 && !known.addresses.empty() && !seen.addresses.empty();
  const std::size_t shared = sharedAddresses + sharedCount(known.others, seen.others);
  return !isClone && shared > 0 && 2 * shared >= known.addresses.size() + known.others.size();
}

std::string KnownMachines::newFingerprint(const ZORValue& description) {
  return sha256Hex("sandbox fingerprint " + jsonForDisplay(description))
      .substr(0, kFingerprintDigits);
}

std::string KnownMachines::fingerprintOf(const ZORValue& identity) {
  Machine seen = describedBy(identity);
  const MutexLock lock(_mutex);
  const auto known =
      std::find_if(_machines.rbegin(), _machines.rend(),
                   [&](const Machine& machine) { return isSameMachine(machine, seen); });
  if (known != _machines.rend()) {
    // The machine is now known as it was last seen, so it may change part by part.
    seen.fingerprint = known->fingerprint;
    _machines.erase(std::next(known).base());
  } else {
    seen.fingerprint = newFingerprint(identity);
    if (_machines.size() == kMaxMachines) _machines.erase(_machines.begin());
  }
  _machines.push_back(std::move(seen));
  return _machines.back().fingerprint;
}

}  // namespace zor::sandbox
