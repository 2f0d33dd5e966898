#include "platform/macos/macos_ports.h"

namespace zor {

const PortSet& systemPorts() {
  static const auto& set = *new PortSet{
      macosDevicePort(),    macosSystemPort(), macosNetworkPort(),   macosWiFiPort(),
      macosIntegrityPort(), macosBundlePort(), macosDefaultsPort(),  macosPasteboardPort(),
      macosArchivePort(),   macosFilePort(),   macosCryptoPort(),    macosClockPort(),
      macosRandomPort(),    macosLogPort(),    macosURLLoadingPort()};
  return set;
}

}  // namespace zor
