// The machine's registry of devices: services grouped in classes, each with named properties.
#ifndef ZOR_PLATFORM_REGISTRY_PORT_H_
#define ZOR_PLATFORM_REGISTRY_PORT_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace zor {

// A property of a kind that no probe reads: a list, a dictionary, a flag.
struct RegistryOther {
  friend bool operator==(RegistryOther, RegistryOther) { return true; }
};

// The kinds are kept apart: data is never taken for text here, nor a number for its digits.
using RegistryValue = std::variant<std::string, Data, std::int64_t, RegistryOther>;

class RegistryEntry;

// Outcome of looking for a parent. Exactly one of: `entry` set and `status` 0, or `entry` null and
// `status` the platform's own number for the failure.
struct RegistryParent {
  std::unique_ptr<RegistryEntry> entry;
  std::int32_t status = 0;
};

// One service, or an entry above one. Reads the machine at each call, so that a device that has
// vanished since it was found has no properties. Confined to the thread that uses it.
class RegistryEntry {
 public:
  virtual ~RegistryEntry() = default;

  // nullopt: there is none, or it may not be read (which is noted in the probe's trace).
  virtual std::optional<RegistryValue> property(const std::string& key) = 0;

  // The entry above this one in `plane`.
  virtual RegistryParent parent(const std::string& plane) = 0;
};

// Callable from any thread.
class RegistryPort {
 public:
  virtual ~RegistryPort() = default;

  // The first service of that class; null when there is none.
  virtual std::unique_ptr<RegistryEntry> firstService(const std::string& serviceClass) = 0;

  // Every service of that class in the registry's order, a device registered twice listed twice.
  // nullopt: the registry could not be asked (not the same as an empty list).
  virtual std::optional<std::vector<std::unique_ptr<RegistryEntry>>> services(
      const std::string& serviceClass) = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_REGISTRY_PORT_H_
