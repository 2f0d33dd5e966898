// The Linux backend's ports, one factory each. Every port is made at its first call and never
// destroyed; all factories are callable from any thread.
#ifndef ZOR_PLATFORM_LINUX_LINUX_PORTS_H_
#define ZOR_PLATFORM_LINUX_LINUX_PORTS_H_

#include "platform/ports.h"
#include "support/process_generation.h"

namespace zor {

DevicePort& linuxDevicePort();
SystemPort& linuxSystemPort();
NetworkPort& linuxNetworkPort();
WiFiPort& linuxWiFiPort();
IntegrityPort& linuxIntegrityPort();
BundlePort& linuxBundlePort();
DefaultsPort& linuxDefaultsPort();
PasteboardPort& linuxPasteboardPort();
ArchivePort& linuxArchivePort();
FilePort& linuxFilePort();
CryptoPort& linuxCryptoPort();
ClockPort& linuxClockPort();
RandomPort& linuxRandomPort();
LogPort& linuxLogPort();
URLLoadingPort& linuxURLLoadingPort();

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_LINUX_PORTS_H_
