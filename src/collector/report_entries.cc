#include "collector/report_entries.h"

#include <ZORFingerPrint/ZORProbes.h>

#include "collector/ZORDataCollector_mac.h"
#include "collector/report_values.h"
#include "collector/sealed_block.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "store/installation_identifier.h"
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
    return reportable(entry.probe());
  } catch (...) {  // Whatever it was, the other entries count.
    return nullptr;
  }
}

}  // namespace zor
