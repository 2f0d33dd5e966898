// The standard user defaults: named values of this application and user, kept between runs.
#ifndef ZOR_PLATFORM_DEFAULTS_PORT_H_
#define ZOR_PLATFORM_DEFAULTS_PORT_H_

#include <ZORFingerPrint/ZORValue.h>

#include <optional>
#include <string>

namespace zor {

// Callable from any thread and from several processes at once: a change replaces one value and
// loses no other writer's. A change that cannot be kept on disk is logged and holds for this
// process. Nothing is thrown.
class DefaultsPort {
 public:
  virtual ~DefaultsPort() = default;

  // A text, a number, a date, a dictionary of such values, or one of the other kinds that a
  // platform keeps. nullopt: nothing is stored, or a kind that it does not keep.
  virtual std::optional<ZORValue> objectForKey(const std::string& key) = 0;
  virtual void setObject(const std::string& key, const ZORValue& value) = 0;
  virtual void removeObject(const std::string& key) = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_DEFAULTS_PORT_H_
