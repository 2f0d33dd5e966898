#include <IOKit/IOKitLib.h>
#include <dlfcn.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "platform/macos/macos_ports.h"

namespace zor {
namespace {

constexpr std::size_t kComparedBytes = 32;
using CodeStart = std::array<std::uint8_t, kComparedBytes>;

// The registry-access functions; a function's place is its bit in both sets.
const std::array<const void*, 8>& functions() {
  static const std::array<const void*, 8> list = {
      reinterpret_cast<const void*>(&IOMasterPort),
      reinterpret_cast<const void*>(&IOServiceMatching),
      reinterpret_cast<const void*>(&IOServiceGetMatchingService),
      reinterpret_cast<const void*>(&IOServiceGetMatchingServices),
      reinterpret_cast<const void*>(&IOIteratorNext),
      reinterpret_cast<const void*>(&IORegistryEntryCreateCFProperty),
      reinterpret_cast<const void*>(&IORegistryEntryGetParentEntry),
      reinterpret_cast<const void*>(&IOObjectRelease),
  };
  return list;
}

CodeStart codeStart(const void* function) {
  CodeStart bytes;
  std::memcpy(bytes.data(), function, bytes.size());
  return bytes;
}

// Whether `function` lies in the framework that owns the registry functions.
bool isOwnersFunction(const void* function) {
  Dl_info place{};
  return ::dladdr(function, &place) != 0 && place.dli_fname != nullptr &&
         std::string_view(place.dli_fname).find("/IOKit.framework/") != std::string_view::npos;
}

// The platform's libraries have no files of their own to compare with, they lie in one cache that
// is put together for each machine. The functions' first bytes at load time stand for them.
class MacIntegrity final : public IntegrityPort {
 public:
  void enable() override {
    if (_enabled.load(std::memory_order_acquire)) return;
    for (std::size_t bit = 0; bit < functions().size(); ++bit) {
      _atLoad[bit] = codeStart(functions()[bit]);
    }
    _enabled.store(true, std::memory_order_release);
  }

  IntegritySignal signal() override {
    IntegritySignal signal;
    if (!_enabled.load(std::memory_order_acquire)) return signal;
    for (std::size_t bit = 0; bit < functions().size(); ++bit) {
      const std::int64_t mask = std::int64_t{1} << bit;
      if (!isOwnersFunction(functions()[bit])) signal.foreignAddress |= mask;
      if (codeStart(functions()[bit]) != _atLoad[bit]) signal.changedCode |= mask;
    }
    return signal;
  }

 private:
  std::array<CodeStart, 8> _atLoad{};  // Written before `_enabled`, constant afterwards.
  std::atomic<bool> _enabled{false};
};

}  // namespace

IntegrityPort& macosIntegrityPort() {
  static auto& port = *new MacIntegrity;
  return port;
}

}  // namespace zor
