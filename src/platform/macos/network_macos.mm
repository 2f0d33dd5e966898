#include <netinet/in.h>
#include <resolv.h>

#include <algorithm>

#include "literals/literals.h"
#include "platform/macos/macos_ports.h"
#include "platform/posix/network_posix.h"
#include "platform/probe_trace.h"

namespace zor {
namespace {

// A resolver state of its own, so that the process's shared one stays untouched.
class ResolverState {
 public:
  ResolverState() : _initialised(res_9_ninit(&_state) == 0) {}
  // Not after a failed start: a state that was never set up looks like one whose socket is number
  // 0.
  ~ResolverState() {
    if (_initialised) res_9_ndestroy(&_state);
  }
  ResolverState(const ResolverState&) = delete;
  ResolverState& operator=(const ResolverState&) = delete;

  bool initialised() const { return _initialised; }

  std::vector<std::string> servers() const {
    return ipv4Servers(_state.nsaddr_list, std::min(_state.nscount, MAXNS));
  }

 private:
  // Cleared first: the call below reads its flags to see whether there is a state to release.
  struct __res_9_state _state {};
  const bool _initialised;
};

class MacNetwork final : public PosixNetwork {
 public:
  DesignatedInterfaces designatedInterfaces() override {
    return {literals::kFirstInterfaceName.str(), literals::kSecondInterfaceName.str(),
            literals::kThirdInterfaceName.str()};
  }

  std::vector<std::string> addressInterfaces() override {
    return {literals::kFirstInterfaceName.str(), literals::kSecondInterfaceName.str()};
  }

  std::optional<std::vector<std::string>> nameServers() override {
    noteProbeSource("resolver");
    const ResolverState state;
    if (!state.initialised()) return std::nullopt;
    return state.servers();
  }
};

}  // namespace

NetworkPort& macosNetworkPort() {
  static constinit MadeOnce<MacNetwork> port;
  return port.get();
}

}  // namespace zor
