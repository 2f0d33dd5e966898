#include "collector/report_entries.h"

#include <ZORFingerPrint/ZORProbes.h>

#include "collector/ZORDataCollector_mac.h"
#include "collector/report_values.h"
#include "collector/sealed_block.h"
#include "fingerprint/installation_identifier.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "udid/_OpenUDID.h"

namespace zor {
namespace {

Json integritySignal() {
  const IntegritySignal signal = ports().integrity.signal();
  return Json::array({signal.foreignAddress, signal.changedCode});
}

HardwareIdentity hardwareIdentity() {
  HardwareIdentity identity;
  identity.hardwareAddresses = getMacAddress().value_or(std::map<std::string, std::string>{});
  identity.bluetoothAddress = getBluetoothAddress();
  identity.hardwareUUID = getHardwareUDID();
  identity.serialNumber = getHardwareSerialNumber();
  return identity;
}

Json sealedIdentity() {
  return orNull(
      sealBlock(identityBlock(hardwareIdentity(), ports().network.designatedInterfaces())));
}

}  // namespace

std::vector<ReportEntry> reportEntries() {
  return {
      {literals::kParamKernelVersionKey.str(),
       [] { return orNull(ports().system.kernelVersion()); }},
      {literals::kParamMemorySizeKey.str(), [] { return Json(getMemorySize()); }},
      {literals::kParamProductNameKey.str(), [] { return orNull(getProductName()); }},
      {literals::kParamModelKey.str(), [] { return orNull(getModel()); }},
      {literals::kParamCpuCountKey.str(), [] { return Json(getCpuCount()); }},
      {literals::kParamCPUBrandKey.str(), [] { return orNull(getCPUBrand()); }},
      {literals::kParamUSBDevicesKey.str(), [] { return getUSBDevices(); }},
      // All bits set, for a file system that does not answer, reads as -1 here.
      {literals::kParamStorageSizeKey.str(),
       [] { return Json(static_cast<std::int64_t>(getStorageSize())); }},
      {literals::kParamPowerSourceKey.str(), [] { return orNull(getPowerInfo()); }},
      {literals::kParamBluetoothNameKey.str(), [] { return orNull(getBluetoothDeviceName()); }},
      {literals::kParamWiFiKey.str(), [] { return orNull(getWiFiInfo()); }},
      {literals::kParamSystemVersionKey.str(), [] { return orNull(getSystemVersion()); }},
      {literals::kParamBundleIdentifierKey.str(),
       [] { return orNull(ports().bundle.bundleIdentifier()); }},
      {literals::kParamBundleValueKey.str(),
       [] { return orNull(ports().bundle.infoValue(literals::kBundleShortVersionKey.str())); }},
      {literals::kParamPathsKey.str(), [] { return Json(getPaths()); }},
      {literals::kParamDnsServersKey.str(), [] { return orNull(getDnsServer()); }},
      {literals::kParamIPAddressesKey.str(), [] { return Json(getIPAddresses()); }},
      {literals::kParamIntegrityKey.str(), integritySignal},
      {literals::kParamInstallationIdentifierKey.str(),
       [] { return Json(installationIdentifier()); }},
      {literals::kParamSharedIdentifierKey.str(), [] { return Json(_OpenUDID::_dfp_value()); }},
      {literals::kParamPlatformKey.str(), [] { return Json(ZORDataCollector_mac::PLATFORM()); }},
      {literals::kParamVersionKey.str(), [] { return Json(ZORDataCollector_mac::VERSION()); }},
      {literals::kParamSealedBlockKey.str(), sealedIdentity},
  };
}

Json reportValue(const ReportEntry& entry) {
  try {
    return reportable(entry.probe());
  } catch (...) {  // Whatever it was, the other entries count.
    return nullptr;
  }
}

}  // namespace zor
