// The process-wide set of ports: everything the core asks of a machine, in one place.
#ifndef ZOR_PLATFORM_PORTS_H_
#define ZOR_PLATFORM_PORTS_H_

#include <type_traits>

#include "platform/bundle_port.h"
#include "platform/clock_port.h"
#include "platform/crypto_port.h"
#include "platform/defaults_port.h"
#include "platform/device_port.h"
#include "platform/file_port.h"
#include "platform/integrity_port.h"
#include "platform/log_port.h"
#include "platform/network_port.h"
#include "platform/pasteboard_port.h"
#include "platform/random_port.h"
#include "platform/system_port.h"
#include "platform/url_loading_port.h"
#include "platform/wifi_port.h"

namespace zor {

// References to one port of each kind. The ports outlive the set. Calls to `devices`, `wifi` and
// `network` may block for a limited time (see DevicePort); calls to the others wait for no device.
struct PortSet {
  DevicePort& devices;
  SystemPort& system;
  NetworkPort& network;
  WiFiPort& wifi;
  IntegrityPort& integrity;
  BundlePort& bundle;
  DefaultsPort& defaults;
  PasteboardPort& pasteboards;
  ArchivePort& archive;
  FilePort& files;
  CryptoPort& crypto;
  ClockPort& clock;
  RandomPort& random;
  LogPort& log;
  URLLoadingPort& urlLoading;

  // The same set with `port` in place of the one of its kind.
  template <typename Replacement>
  PortSet with(Replacement& port) const;
};

// The ports of this machine, made at the first call and never destroyed. Defined by the backend.
const PortSet& systemPorts();

// The ports in use: systemPorts() unless a ScopedPorts is alive. Callable from any thread.
const PortSet& ports();

// Replaces the ports in use for its lifetime; for programs with settings of their own and for
// tests. Not to be made or destroyed while other threads use the library; scopes nest.
class ScopedPorts {
 public:
  explicit ScopedPorts(const PortSet& replacement);
  ~ScopedPorts();
  ScopedPorts(const ScopedPorts&) = delete;
  ScopedPorts& operator=(const ScopedPorts&) = delete;

 private:
  const PortSet _replacement;
  const PortSet* const _previous;
};

template <typename Replacement>
PortSet PortSet::with(Replacement& port) const {
  const auto replaced = [&port](auto& current) -> auto& {
    if constexpr (std::is_convertible_v<Replacement*, decltype(&current)>) {
      return static_cast<decltype(current)>(port);
    } else {
      return current;
    }
  };
  return {replaced(devices),   replaced(system), replaced(network),   replaced(wifi),
          replaced(integrity), replaced(bundle), replaced(defaults),  replaced(pasteboards),
          replaced(archive),   replaced(files),  replaced(crypto),    replaced(clock),
          replaced(random),    replaced(log),    replaced(urlLoading)};
}

}  // namespace zor

#endif  // ZOR_PLATFORM_PORTS_H_
