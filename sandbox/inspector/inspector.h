// A window on what the sandbox receives: keeps it in the state folder, shows it on a page for a
// browser of this machine, and lets scripts read it and set faults over JSON.
#ifndef ZOR_SANDBOX_INSPECTOR_INSPECTOR_H_
#define ZOR_SANDBOX_INSPECTOR_INSPECTOR_H_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "sandbox/sandbox_service.h"

namespace zor::sandbox {

// Callable from any thread once start() is through.
//
//   Inspector inspector(service);
//   service.observe([&](const Received& request) { inspector.add(request); },
//                   [&](const Handshake& handshake) { inspector.add(handshake); });
//   ... service.start(), inspector.start(folder, 0), open inspector.url() ...
class Inspector {
 public:
  // `service` must outlive this object. It must have ended, see SandboxService::stop(), or have no
  // observer that calls add(), before this object goes.
  explicit Inspector(SandboxService& service);
  ~Inspector();
  Inspector(const Inspector&) = delete;
  Inspector& operator=(const Inspector&) = delete;

  // Keep an entry and tell everyone who looks on. Take no time: a thread of its own does it, in the
  // order of the calls and before it answers a request that comes later. Callable before start().
  void add(const Received& request);
  void add(const Handshake& handshake);

  // Opens the log in `folder`, which exists, and serves the page at `port` of 127.0.0.1; 0: at a
  // free one. Returns what went wrong. Once only.
  std::optional<std::string> start(const std::filesystem::path& folder, std::uint16_t port);

  // The page's address. Whoever knows it can read everything: it holds a random part, which is new
  // for each start.
  std::string url() const;

  // Ends when everything that was added is kept. Callable twice.
  void stop();

 private:
  class Core;
  std::unique_ptr<Core> _core;
};

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_INSPECTOR_INSPECTOR_H_
