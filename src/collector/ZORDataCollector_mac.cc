#include "collector/ZORDataCollector_mac.h"

#include <ZORFingerPrint/ZORProbes.h>

#include <memory>
#include <utility>

#include "collector/sealed_block.h"
#include "literals/labels.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "store/installation_identifier.h"
#include "support/json_codec.h"
#include "udid/_OpenUDID.h"

namespace zor {
namespace {

// Without those that are withheld.
HardwareIdentity hardwareIdentity() {
  HardwareIdentity identity;
  if (areHardwareAddressesWanted()) {
    identity.hardwareAddresses = getMacAddress().value_or(std::map<std::string, std::string>{});
  }
  if (!isWithheld(Entry::bluetoothAddress)) identity.bluetoothAddress = getBluetoothAddress();
  if (!isWithheld(Entry::hardwareUUID)) identity.hardwareUUID = getHardwareUDID();
  if (!isWithheld(Entry::serialNumber)) identity.serialNumber = getHardwareSerialNumber();
  return identity;
}

// One probe for each row of the table, by the name of the entry.
namespace probe {

ZORValue kernelVersion() { return ZORValue::orNull(ports().system.kernelVersion()); }
ZORValue memorySize() { return getMemorySize(); }
ZORValue productName() { return ZORValue::orNull(getProductName()); }
ZORValue model() { return ZORValue::orNull(getModel()); }
ZORValue cpuCount() { return getCpuCount(); }
ZORValue cpuBrand() { return ZORValue::orNull(getCPUBrand()); }
ZORValue usbDevices() { return getUSBDevices(); }
// All bits set, the value for a file system that does not answer, becomes -1 here.
ZORValue storageSize() { return static_cast<std::int64_t>(getStorageSize()); }
ZORValue powerSource() { return ZORValue::orNull(getPowerInfo()); }
ZORValue bluetoothName() { return ZORValue::orNull(getBluetoothDeviceName()); }
ZORValue wifi() { return ZORValue::orNull(getWiFiInfo()); }
ZORValue systemVersion() { return ZORValue::orNull(getSystemVersion()); }
ZORValue bundleIdentifier() { return ZORValue::orNull(ports().bundle.bundleIdentifier()); }
ZORValue bundleValue() {
  return ZORValue::orNull(ports().bundle.infoValue(literals::kBundleShortVersionKey.str()));
}
ZORValue paths() { return getPaths(); }
ZORValue dnsServers() { return ZORValue::orNull(getDnsServer()); }
ZORValue ipAddresses() { return getIPAddresses(); }
ZORValue integrity() {
  const IntegritySignal signal = ports().integrity.signal();
  return ZORValue::array({signal.foreignAddress, signal.changedCode});
}
ZORValue installationIdentifier() { return zor::installationIdentifier(); }
ZORValue sharedIdentifier() { return _OpenUDID::_dfp_value(); }
ZORValue platform() { return platformLabel(); }
ZORValue version() { return versionLabel(); }
ZORValue sealedBlock() {
  const DesignatedInterfaces designated = areHardwareAddressesWanted()
                                              ? ports().network.designatedInterfaces()
                                              : DesignatedInterfaces();
  return ZORValue::orNull(
      sealBlock(withoutWithheldEntries(identityBlock(hardwareIdentity(), designated))));
}

}  // namespace probe
}  // namespace

std::vector<ReportEntry> reportEntries() {
  return {
#define ZOR_ENTRY(entry, ...) {entryKey(Entry::entry), &probe::entry, Entry::entry},
#define ZOR_SEALED_ENTRY(entry, ...)
#include "literals/report_entries.def"
#undef ZOR_SEALED_ENTRY
#undef ZOR_ENTRY
  };
}

ZORValue reportValue(const ReportEntry& entry) {
  if (isWithheld(entry.entry)) return nullptr;
  try {
    return writableAsJson(entry.probe());
  } catch (...) {  // Whatever was thrown, the other entries still count.
    return nullptr;
  }
}

void ZORDataCollector_mac::load() {
  ports().integrity.enable();
  static_cast<void>(N0000000001());
}

std::string ZORDataCollector_mac::PLATFORM() { return platformLabel(); }

std::string ZORDataCollector_mac::VERSION() { return versionLabel(); }

ZORValue ZORDataCollector_mac::collect() {
  _collect();
  return _params;
}

ZORValue ZORDataCollector_mac::collectWithAccounts(std::vector<EntryAccount>& accounts) {
  for (const ReportEntry& entry : reportEntries()) {
    _params.set(entry.key, accountedValue(
                               entry.entry, [&entry] { return reportValue(entry); }, accounts));
  }
  for (EntryAccount& account : sealedBlockAccounts()) accounts.push_back(std::move(account));
  return _params;
}

void ZORDataCollector_mac::_collect() {
  // Reading ahead would also read what the host withholds.
  const auto ahead =
      isAnyEntryWithheld() ? std::unique_ptr<ReadAhead>() : ports().devices.readAhead();
  for (const ReportEntry& entry : reportEntries()) _params.set(entry.key, reportValue(entry));
}

}  // namespace zor
