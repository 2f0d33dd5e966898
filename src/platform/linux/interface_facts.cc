#include "platform/linux/interface_facts.h"

#include <net/if_arp.h>

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "literals/literals.h"
#include "platform/linux/device_reader.h"
#include "platform/linux/link_address.h"
#include "platform/linux/wireless_tables.h"
#include "support/text.h"

namespace zor {
namespace {

// The origin of an address, as the kernel numbers it.
constexpr std::int64_t kAddressIsPermanent = 0;

std::int64_t numberAttribute(const Device& device, const std::string& key) {
  return longLongValue(device.attribute(key).value_or(""));
}

// The address in sysfs, unless a driver generated it or it was set by hand.
std::optional<Data> unchangedAddress(const Device& interface) {
  if (numberAttribute(interface, literals::kAddressOriginProperty.str()) != kAddressIsPermanent) {
    return std::nullopt;
  }
  const auto text = interface.attribute(literals::kCurrentAddressProperty.str());
  return text ? addressFromText(*text) : std::nullopt;
}

BackedInterface backedInterface(const Device& interface) {
  BackedInterface backed;
  backed.name = interface.name();
  const std::string& path = interface.path();
  backed.devicePath = path.substr(0, path.rfind("/net/"));
  backed.devicePort = interface.attribute(literals::kDevicePortProperty.str()).value_or("");
  backed.removable = interface.isRemovable();
  const std::string type = interface.type();
  backed.wireless =
      interface.has(literals::kWirelessLink.str()) || type == literals::kWirelessDeviceType.view();
  const bool ethernet =
      numberAttribute(interface, literals::kInterfaceTypeProperty.str()) == ARPHRD_ETHER;
  backed.wired = ethernet && !backed.wireless && type.empty();
  backed.permanentAddress = unchangedAddress(interface);
  return backed;
}

// Maps each interface's name to whether it joins networks; interfaces of which the kernel does not
// say so are left out.
std::map<std::string, bool> stationsByName() {
  std::map<std::string, bool> stations;
  auto tables = WirelessTables::open();
  if (!tables) return stations;
  for (const WirelessInterface& interface : tables->interfaces()) {
    stations[interface.name] = interface.station;
  }
  return stations;
}

void removeOthersThanStations(std::vector<BackedInterface>& interfaces) {
  const auto stations = stationsByName();
  const auto isOther = [&stations](const BackedInterface& interface) {
    const auto found = stations.find(interface.name);
    return found != stations.end() && !found->second;
  };
  interfaces.erase(std::remove_if(interfaces.begin(), interfaces.end(), isOther), interfaces.end());
}

std::vector<BackedInterface> withoutWireless(std::vector<BackedInterface> interfaces) {
  interfaces.erase(std::remove_if(interfaces.begin(), interfaces.end(),
                                  [](const auto& interface) { return interface.wireless; }),
                   interfaces.end());
  return interfaces;
}

}  // namespace

InterfaceFacts factsOfInterfaces(std::vector<BackedInterface> interfaces) {
  const auto place = [](const BackedInterface& interface) {
    return std::tie(interface.removable, interface.devicePath, interface.devicePort,
                    interface.name);
  };
  std::sort(interfaces.begin(), interfaces.end(),
            [&](const auto& left, const auto& right) { return place(left) < place(right); });
  InterfaceFacts facts;
  facts.addresses.emplace();
  DesignatedInterfaces& designated = facts.designated;
  for (const BackedInterface& interface : interfaces) {
    // The kernel allows any bytes in an interface's name.
    if (!interface.permanentAddress || !isValidUtf8(interface.name)) continue;
    facts.addresses->push_back({interface.name, interface.permanentAddress, 0});
    if (interface.wireless && !designated.second) designated.second = interface.name;
    if (!interface.wired) continue;
    auto& free = designated.first ? designated.third : designated.first;
    if (!free) free = interface.name;
  }
  return facts;
}

void readInterfaceFacts(Draft<InterfaceFacts>& draft) {
  const auto devices = interfacesBackedByDevices();
  if (!devices) return;
  std::vector<BackedInterface> interfaces;
  for (const Device& device : *devices) interfaces.push_back(backedInterface(device));
  draft.set(factsOfInterfaces(withoutWireless(interfaces)));
  const bool anyWireless = std::any_of(interfaces.begin(), interfaces.end(),
                                       [](const auto& interface) { return interface.wireless; });
  if (anyWireless) removeOthersThanStations(interfaces);
  for (BackedInterface& interface : interfaces) {
    if (!interface.permanentAddress) {
      interface.permanentAddress = readPermanentAddress(interface.name);
    }
  }
  draft.set(factsOfInterfaces(std::move(interfaces)));
}

}  // namespace zor
