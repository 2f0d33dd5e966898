#include <ZORFingerPrint/ZORProbes.h>

#include <cstdio>

#include "literals/literals.h"
#include "platform/ports.h"
#include "probes/probe_values.h"

namespace zor {
namespace {

// Adds the interface's name and hardware address, if it has both.
void addHardwareAddress(const HardwareAddress& address,
                        std::map<std::string, std::string>& addresses) {
  if (address.deviceStatus != 0) {
    std::printf(literals::kNoParentDiagnosticFormat.c_str(),
                static_cast<unsigned>(address.deviceStatus));
  } else if (address.interfaceName && address.bytes) {
    addresses.insert_or_assign(*address.interfaceName, bytesToHexString(*address.bytes));
  }
}

}  // namespace

std::optional<std::map<std::string, std::string>> getMacAddress() {
  const auto found = ports().devices.hardwareAddresses();
  if (!found) return std::nullopt;
  std::map<std::string, std::string> addresses;
  for (const HardwareAddress& address : *found) addHardwareAddress(address, addresses);
  if (addresses.empty()) return std::nullopt;
  return addresses;
}

std::vector<std::string> getIPAddresses() {
  NetworkPort& network = ports().network;
  const auto addresses = network.interfaceAddresses();
  if (!addresses || addresses->empty()) return {};
  return addressTexts(*addresses, network.addressInterfaces(), network);
}

std::optional<std::vector<std::string>> getDnsServer() { return ports().network.nameServers(); }

std::optional<ZORValue> getWiFiInfo() {
  const auto interface = ports().wifi.defaultInterface();
  if (!interface) return std::nullopt;
  return ZORValue::dictionary(
      {{literals::kWiFiNameKey.str(), interface->interfaceName.value_or("")},
       {literals::kWiFiNetworkKey.str(), interface->ssid.value_or("")},
       {literals::kWiFiAccessPointKey.str(), interface->bssid.value_or("")},
       {literals::kWiFiSignalKey.str(), interface->rssiValue}});
}

}  // namespace zor
