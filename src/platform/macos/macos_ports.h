// The macOS backend's ports, one factory each. Every port is made at its first call and never
// destroyed; all factories are callable from any thread.
#ifndef ZOR_PLATFORM_MACOS_MACOS_PORTS_H_
#define ZOR_PLATFORM_MACOS_MACOS_PORTS_H_

#include "platform/ports.h"
#include "support/process_generation.h"

namespace zor {

DevicePort& macosDevicePort();
SystemPort& macosSystemPort();
NetworkPort& macosNetworkPort();
WiFiPort& macosWiFiPort();
IntegrityPort& macosIntegrityPort();
BundlePort& macosBundlePort();
DefaultsPort& macosDefaultsPort();
PasteboardPort& macosPasteboardPort();
ArchivePort& macosArchivePort();
FilePort& macosFilePort();
CryptoPort& macosCryptoPort();
ClockPort& macosClockPort();
RandomPort& macosRandomPort();
LogPort& macosLogPort();
URLLoadingPort& macosURLLoadingPort();

}  // namespace zor

#endif  // ZOR_PLATFORM_MACOS_MACOS_PORTS_H_
