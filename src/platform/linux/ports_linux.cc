#include "platform/linux/linux_ports.h"

namespace zor {

const PortSet& systemPorts() {
  static const auto& set = *new PortSet{
      linuxDevicePort(),    linuxSystemPort(), linuxNetworkPort(),   linuxWiFiPort(),
      linuxIntegrityPort(), linuxBundlePort(), linuxDefaultsPort(),  linuxPasteboardPort(),
      linuxArchivePort(),   linuxFilePort(),   linuxCryptoPort(),    linuxClockPort(),
      linuxRandomPort(),    linuxLogPort(),    linuxURLLoadingPort()};
  return set;
}

}  // namespace zor
