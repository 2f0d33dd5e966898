// The default Wi-Fi interface.
#ifndef ZOR_PLATFORM_WIFI_PORT_H_
#define ZOR_PLATFORM_WIFI_PORT_H_

#include <cstdint>
#include <optional>
#include <string>

namespace zor {

struct WiFiInterface {
  std::optional<std::string> interfaceName;
  // Absent when not associated or not permitted. A network name that is not valid UTF-8 is
  // read as Windows Latin 1, as the heritage platform does.
  std::optional<std::string> ssid;
  std::optional<std::string> bssid;
  std::int64_t rssiValue = 0;  // dBm; 0 when not associated.
};

// Callable from any thread. Never triggers a scan. May block, with the same limit as DevicePort.
class WiFiPort {
 public:
  virtual ~WiFiPort() = default;

  // nullopt: the machine has no Wi-Fi interface.
  virtual std::optional<WiFiInterface> defaultInterface() = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_WIFI_PORT_H_
