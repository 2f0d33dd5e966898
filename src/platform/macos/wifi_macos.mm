#import <CoreWLAN/CoreWLAN.h>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"
#include "platform/probe_trace.h"

namespace zor {
namespace {

class MacWiFi final : public WiFiPort {
 public:
  // Without the user's permission for location, the platform returns no network name and no access
  // point.
  std::optional<WiFiInterface> defaultInterface() override {
    noteProbeSource("CoreWLAN");
    @autoreleasepool {
      CWInterface* interface = [[CWWiFiClient sharedWiFiClient] interface];
      if (interface == nil) return std::nullopt;
      return WiFiInterface{textFromString(interface.interfaceName), textFromString(interface.ssid),
                           textFromString(interface.bssid), interface.rssiValue};
    }
  }
};

}  // namespace

WiFiPort& macosWiFiPort() {
  static constinit MadeOnce<MacWiFi> port;
  return port.get();
}

}  // namespace zor
