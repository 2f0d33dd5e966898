// The standard user defaults: named values of this application and user, kept between runs.
#ifndef ZOR_PLATFORM_DEFAULTS_PORT_H_
#define ZOR_PLATFORM_DEFAULTS_PORT_H_

#include <ZORFingerPrint/ZORValue.h>

#include <optional>
#include <string>
#include <vector>

#include "support/status.h"

namespace zor {

// Callable from any thread and from several processes at once: a change replaces only the values it
// names, so no other writer's change is lost. Nothing is thrown.
class DefaultsPort {
 public:
  struct Change {
    std::string key;
    std::optional<ZORValue> value;  // Absent: removed.
  };
  // One for each key that was asked for, in the same order.
  using Values = std::vector<std::optional<ZORValue>>;

  virtual ~DefaultsPort() = default;

  // The values under `keys`, all read at the same moment. Each is a text, a number, a date, a
  // dictionary of such values, or of another kind that the platform keeps; absent if nothing is
  // stored, or something of a kind that it does not keep.
  virtual Reading<Values> read(const std::vector<std::string>& keys) = 0;

  // Makes all of `changes` in one step: another process sees all of them or none. Success: they are
  // on the disk. A failure is logged, and the changes then hold for this process only.
  virtual Status change(const std::vector<Change>& changes) = 0;

  // Removes the values under `keys`, in one step as change() does, if they still equal `seen`,
  // which read() returned for the same keys. A value stored since then stays.
  virtual Status removeIfStill(const std::vector<std::string>& keys, const Values& seen) = 0;

  // The value under one key; nullopt also if the defaults cannot be read now.
  std::optional<ZORValue> objectForKey(const std::string& key);
  // change() of one value.
  Status setObject(const std::string& key, const ZORValue& value);
  Status removeObject(const std::string& key);
};

}  // namespace zor

#endif  // ZOR_PLATFORM_DEFAULTS_PORT_H_
