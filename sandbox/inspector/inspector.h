// Shows what the sandbox receives: keeps it in the state folder, serves it as a page to browsers on
// this machine, and lets scripts read it and set faults over JSON.
#ifndef ZOR_SANDBOX_INSPECTOR_INSPECTOR_H_
#define ZOR_SANDBOX_INSPECTOR_INSPECTOR_H_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "sandbox/sandbox_service.h"

namespace zor::sandbox {

// Callable from any thread once start() has returned.
//
//   Inspector inspector(service);
//   service.observe([&](const Received& request) { inspector.add(request); },
//                   [&](const Handshake& handshake) { inspector.add(handshake); });
//   ... service.start(), inspector.start(folder, 0), open inspector.url() ...
class Inspector {
 public:
  // `service` must outlive this object. Before this object is destroyed, the service must have been
  // stopped, see SandboxService::stop(), or have no observer that calls add().
  explicit Inspector(SandboxService& service);
  ~Inspector();
  Inspector(const Inspector&) = delete;
  Inspector& operator=(const Inspector&) = delete;

  // Keep an entry and send it to every open page. Return at once: a separate thread does the work,
  // in the order of the calls and before it answers later requests. Callable before start().
  void add(const Received& request);
  void add(const Handshake& handshake);

  // Opens the log in `folder`, which exists, and serves the page at `port` of 127.0.0.1; 0: at a
  // free one. Returns what went wrong. Once only.
  std::optional<std::string> start(const std::filesystem::path& folder, std::uint16_t port);

  // The page's address. It contains a secret, which is new for each start: anyone who knows it can
  // read everything.
  std::string url() const;

  // Returns when everything that was added is kept. May be called twice.
  void stop();

 private:
  class Core;
  std::unique_ptr<Core> _core;
};

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_INSPECTOR_INSPECTOR_H_
