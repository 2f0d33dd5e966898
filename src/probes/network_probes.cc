#include <ZORFingerPrint/ZORProbes.h>

#include <cstdio>

#include "literals/literals.h"
#include "platform/ports.h"
#include "probes/probe_values.h"

namespace zor {
namespace {

// Adds the interface's name and hardware address, if it has both.
void addHardwareAddress(RegistryEntry& service, std::map<std::string, std::string>& addresses) {
  const RegistryParent parent = service.parent(literals::kInterfacePlane.str());
  if (!parent.entry) {
    std::printf(literals::kNoParentDiagnosticFormat.c_str(), static_cast<unsigned>(parent.status));
    return;
  }
  const auto address = parent.entry->property(literals::kHardwareAddressProperty.str());
  const auto name = service.property(literals::kInterfaceKeyProperty.str());
  const auto* bytes = address ? std::get_if<Data>(&*address) : nullptr;
  const auto* key = name ? std::get_if<std::string>(&*name) : nullptr;
  if (bytes != nullptr && key != nullptr)
    addresses.insert_or_assign(*key, bytesToHexString(*bytes));
}

}  // namespace

std::optional<std::map<std::string, std::string>> getMacAddress() {
  const auto services = ports().registry.services(literals::kInterfaceClass.str());
  if (!services) return std::nullopt;
  std::map<std::string, std::string> addresses;
  for (const auto& service : *services) addHardwareAddress(*service, addresses);
  if (addresses.empty()) return std::nullopt;
  return addresses;
}

std::vector<std::string> getIPAddresses() {
  NetworkPort& network = ports().network;
  const auto addresses = network.interfaceAddresses();
  if (!addresses || addresses->empty()) return {};
  return designatedAddressTexts(*addresses, network.designatedInterfaces(), network);
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
