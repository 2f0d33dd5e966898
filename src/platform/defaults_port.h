// The standard user defaults: named values of this application and user, kept between runs.
#ifndef ZOR_PLATFORM_DEFAULTS_PORT_H_
#define ZOR_PLATFORM_DEFAULTS_PORT_H_

#include <optional>
#include <string>

#include "support/property_value.h"

namespace zor {

// Callable from any thread and from several processes at once: a change replaces one value and
// loses no other writer's. A change that cannot be kept on disk is logged and holds for this
// process. Nothing is thrown.
class DefaultsPort {
 public:
  virtual ~DefaultsPort() = default;

  // nullopt: nothing is stored, or a value of a kind that is not a PropertyValue.
  virtual std::optional<PropertyValue> objectForKey(const std::string& key) = 0;
  virtual void setObject(const std::string& key, const PropertyValue& value) = 0;
  virtual void removeObject(const std::string& key) = 0;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_DEFAULTS_PORT_H_
