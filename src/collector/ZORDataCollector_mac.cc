#include "collector/ZORDataCollector_mac.h"

#include <ZORFingerPrint/ZORProbes.h>

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

ZORValue integritySignal() {
  const IntegritySignal signal = ports().integrity.signal();
  return ZORValue::array({signal.foreignAddress, signal.changedCode});
}

HardwareIdentity hardwareIdentity() {
  HardwareIdentity identity;
  identity.hardwareAddresses = getMacAddress().value_or(std::map<std::string, std::string>{});
  identity.bluetoothAddress = getBluetoothAddress();
  identity.hardwareUUID = getHardwareUDID();
  identity.serialNumber = getHardwareSerialNumber();
  return identity;
}

ZORValue sealedIdentity() {
  return ZORValue::orNull(
      sealBlock(identityBlock(hardwareIdentity(), ports().network.designatedInterfaces())));
}

}  // namespace

std::vector<ReportEntry> reportEntries() {
  return {
      {literals::kParamKernelVersionKey.str(),
       [] { return ZORValue::orNull(ports().system.kernelVersion()); }},
      {literals::kParamMemorySizeKey.str(), [] { return ZORValue(getMemorySize()); }},
      {literals::kParamProductNameKey.str(), [] { return ZORValue::orNull(getProductName()); }},
      {literals::kParamModelKey.str(), [] { return ZORValue::orNull(getModel()); }},
      {literals::kParamCpuCountKey.str(), [] { return ZORValue(getCpuCount()); }},
      {literals::kParamCPUBrandKey.str(), [] { return ZORValue::orNull(getCPUBrand()); }},
      {literals::kParamUSBDevicesKey.str(), [] { return getUSBDevices(); }},
      // All bits set, for a file system that does not answer, reads as -1 here.
      {literals::kParamStorageSizeKey.str(),
       [] { return ZORValue(static_cast<std::int64_t>(getStorageSize())); }},
      {literals::kParamPowerSourceKey.str(), [] { return ZORValue::orNull(getPowerInfo()); }},
      {literals::kParamBluetoothNameKey.str(),
       [] { return ZORValue::orNull(getBluetoothDeviceName()); }},
      {literals::kParamWiFiKey.str(), [] { return ZORValue::orNull(getWiFiInfo()); }},
      {literals::kParamSystemVersionKey.str(), [] { return ZORValue::orNull(getSystemVersion()); }},
      {literals::kParamBundleIdentifierKey.str(),
       [] { return ZORValue::orNull(ports().bundle.bundleIdentifier()); }},
      {literals::kParamBundleValueKey.str(),
       [] {
         return ZORValue::orNull(ports().bundle.infoValue(literals::kBundleShortVersionKey.str()));
       }},
      {literals::kParamPathsKey.str(), [] { return ZORValue(getPaths()); }},
      {literals::kParamDnsServersKey.str(), [] { return ZORValue::orNull(getDnsServer()); }},
      {literals::kParamIPAddressesKey.str(), [] { return ZORValue(getIPAddresses()); }},
      {literals::kParamIntegrityKey.str(), integritySignal},
      {literals::kParamInstallationIdentifierKey.str(),
       [] { return ZORValue(installationIdentifier()); }},
      {literals::kParamSharedIdentifierKey.str(), [] { return ZORValue(_OpenUDID::_dfp_value()); }},
      {literals::kParamPlatformKey.str(),
       [] { return ZORValue(ZORDataCollector_mac::PLATFORM()); }},
      {literals::kParamVersionKey.str(), [] { return ZORValue(ZORDataCollector_mac::VERSION()); }},
      {literals::kParamSealedBlockKey.str(), sealedIdentity},
  };
}

ZORValue reportValue(const ReportEntry& entry) {
  try {
    return writableAsJson(entry.probe());
  } catch (...) {  // Whatever it was, the other entries count.
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
                               entry.key, [&entry] { return reportValue(entry); }, accounts));
  }
  for (EntryAccount& account : sealedBlockAccounts()) accounts.push_back(std::move(account));
  return _params;
}

void ZORDataCollector_mac::_collect() {
  const auto ahead = ports().devices.readAhead();
  for (const ReportEntry& entry : reportEntries()) _params.set(entry.key, reportValue(entry));
}

}  // namespace zor
