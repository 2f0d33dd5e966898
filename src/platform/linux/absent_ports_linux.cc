// Ports whose backend has not landed: each answers that nothing is there.
#include "platform/linux/linux_ports.h"

namespace zor {
namespace {

class NoRegistry final : public RegistryPort {
 public:
  std::unique_ptr<RegistryEntry> firstService(const std::string&) override { return nullptr; }
  std::optional<std::vector<std::unique_ptr<RegistryEntry>>> services(const std::string&) override {
    return std::nullopt;
  }
};

class NoPowerSources final : public PowerSourcePort {
 public:
  std::vector<std::optional<PowerSourceDescription>> sources() override { return {}; }
};

class NoSystem final : public SystemPort {
 public:
  std::optional<std::string> kernelVersion() override { return std::nullopt; }
  std::optional<std::string> operatingSystemVersionString() override { return std::nullopt; }
  std::optional<std::string> processName() override { return std::nullopt; }
  std::string globallyUniqueString() override { return {}; }
  std::int32_t processIdentifier() override { return 0; }
  double systemUptimeSeconds() override { return 0; }
  std::int64_t physicalMemoryBytes() override { return 0; }
  std::optional<FileSystemFigures> fileSystemFigures(const std::string&) override {
    return std::nullopt;
  }
  std::optional<Data> namedValue(const std::string&) override { return std::nullopt; }
  std::map<std::string, std::string> environment() override { return {}; }
};

class NoNetwork final : public NetworkPort {
 public:
  std::optional<std::vector<InterfaceAddress>> interfaceAddresses() override {
    return std::nullopt;
  }
  DesignatedInterfaces designatedInterfaces() override { return {}; }
  std::optional<std::string> addressText(AddressFamily, const std::uint8_t*, std::size_t) override {
    return std::nullopt;
  }
  std::optional<std::vector<std::string>> nameServers() override { return std::nullopt; }
};

class NoWiFi final : public WiFiPort {
 public:
  std::optional<WiFiInterface> defaultInterface() override { return std::nullopt; }
};

class NoIntegrity final : public IntegrityPort {
 public:
  void enable() override {}
  IntegritySignal signal() override { return {}; }
};

template <typename Port>
Port& single() {
  static auto& port = *new Port;
  return port;
}

}  // namespace

RegistryPort& linuxRegistryPort() { return single<NoRegistry>(); }
PowerSourcePort& linuxPowerSourcePort() { return single<NoPowerSources>(); }
SystemPort& linuxSystemPort() { return single<NoSystem>(); }
NetworkPort& linuxNetworkPort() { return single<NoNetwork>(); }
WiFiPort& linuxWiFiPort() { return single<NoWiFi>(); }
IntegrityPort& linuxIntegrityPort() { return single<NoIntegrity>(); }

}  // namespace zor
