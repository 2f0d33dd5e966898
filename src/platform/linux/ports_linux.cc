#include "platform/linux/linux_ports.h"

namespace zor {

const PortSet& systemPorts() {
  static constinit MadeOnce<const PortSet> set;
  return set.get([] {
    return std::make_unique<const PortSet>(
        PortSet{linuxDevicePort(), linuxSystemPort(), linuxNetworkPort(), linuxWiFiPort(),
                linuxIntegrityPort(), linuxBundlePort(), linuxDefaultsPort(), linuxPasteboardPort(),
                linuxArchivePort(), linuxFilePort(), linuxCryptoPort(), linuxClockPort(),
                linuxRandomPort(), linuxLogPort(), linuxURLLoadingPort()});
  });
}

}  // namespace zor
