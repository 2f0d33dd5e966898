#include "platform/macos/macos_ports.h"

namespace zor {

const PortSet& systemPorts() {
  static constinit MadeOnce<const PortSet> set;
  return set.get([] {
    return std::make_unique<const PortSet>(
        PortSet{macosDevicePort(), macosSystemPort(), macosNetworkPort(), macosWiFiPort(),
                macosIntegrityPort(), macosBundlePort(), macosDefaultsPort(), macosPasteboardPort(),
                macosArchivePort(), macosFilePort(), macosCryptoPort(), macosClockPort(),
                macosRandomPort(), macosLogPort(), macosURLLoadingPort()});
  });
}

}  // namespace zor
