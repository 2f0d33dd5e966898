// Whether the functions by which this process reads the registry are the C library's own.
//
// The registry is files and sockets of the kernel. The dynamic linker binds this library's calls to
// the first definition in the process, which may be another object's (a preloaded one, the program
// itself, a sanitizer's). The object that should own them is the one loaded under the C library's
// name; what counts is the address that calls from here reach. Code is compared at its place in the
// C library, so a patch in memory is noticed even behind a replacement.
#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <vector>

#include "platform/linux/linux_ports.h"
#include "platform/linux/loaded_object.h"
#include "platform/probe_trace.h"

namespace zor {
namespace {

constexpr char kOwner[] = "libc.so.6";
constexpr std::size_t kComparedBytes = 32;

struct AccessFunction {
  const char* name;
  const void* address;
};

template <typename Function>
const void* addressOf(Function* function) {
  return reinterpret_cast<const void*>(function);
}

// A function's position in this table is its bit, so new functions go to the end.
#define ZOR_ACCESS_FUNCTION(function) \
  AccessFunction { #function, addressOf(&(function)) }
std::vector<AccessFunction> accessFunctions() {
  return {
      ZOR_ACCESS_FUNCTION(opendir),  ZOR_ACCESS_FUNCTION(readdir), ZOR_ACCESS_FUNCTION(closedir),
      ZOR_ACCESS_FUNCTION(open),     ZOR_ACCESS_FUNCTION(read),    ZOR_ACCESS_FUNCTION(close),
      ZOR_ACCESS_FUNCTION(readlink), ZOR_ACCESS_FUNCTION(access),  ZOR_ACCESS_FUNCTION(socket),
      ZOR_ACCESS_FUNCTION(bind),     ZOR_ACCESS_FUNCTION(send),    ZOR_ACCESS_FUNCTION(sendto),
      ZOR_ACCESS_FUNCTION(recv)};
}
#undef ZOR_ACCESS_FUNCTION

IntegritySignal signalOf(const LoadedObject& owner) {
  IntegritySignal signal;
  std::int64_t bit = 1;
  for (const AccessFunction& function : accessFunctions()) {
    if (!owner.receivesCallsOf(function.name, function.address)) signal.foreignAddress |= bit;
    const void* own = owner.ownDefinition(function.name);
    const bool changed = own != nullptr && owner.differsFromFile(own, kComparedBytes) == true;
    if (changed) signal.changedCode |= bit;
    bit <<= 1;
  }
  return signal;
}

class LinuxIntegrity final : public IntegrityPort {
 public:
  void enable() override { _enabled.store(true, std::memory_order_relaxed); }

  IntegritySignal signal() override {
    noteProbeSource("dynamic linker");
    if (!_enabled.load(std::memory_order_relaxed)) return {};
    const auto owner = LoadedObject::find(kOwner);
    return owner ? signalOf(*owner) : IntegritySignal{};
  }

 private:
  std::atomic<bool> _enabled{false};
};

}  // namespace

IntegrityPort& linuxIntegrityPort() {
  static constinit MadeOnce<LinuxIntegrity> port;
  return port.get();
}

}  // namespace zor
