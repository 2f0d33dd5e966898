#include "platform/bundle_port.h"

#include <atomic>
#include <memory>
#include <tuple>

#include "literals/literals.h"
#include "support/process_generation.h"
#include "support/text.h"

namespace zor {
namespace {

constexpr std::size_t kMaxNameBytes = 200;

// Means that the main bundle's name stays in force.
const ApplicationName& unnamed() {
  static constinit MadeOnce<const ApplicationName> name;
  return name.get();
}

// Null until the application is named or its name is in use.
std::atomic<const ApplicationName*> nameInForce{nullptr};

bool isUsableName(const std::string& text) {
  return !text.empty() && text.size() <= kMaxNameBytes && isValidUtf8(text) &&
         text.find('\0') == std::string::npos;
}

const ApplicationName* nameOrNull(const ApplicationName* name) {
  return name == &unnamed() ? nullptr : name;
}

}  // namespace

bool nameApplication(const std::string& identifier, const std::string& version) {
  if (!isUsableName(identifier) || !isUsableName(version)) return false;
  auto made = std::make_unique<const ApplicationName>(ApplicationName{identifier, version});
  const ApplicationName* expected = nullptr;
  if (nameInForce.compare_exchange_strong(expected, made.get())) {
    std::ignore = made.release();  // In use for the rest of the process.
    return true;
  }
  return expected->identifier == identifier && expected->version == version;
}

const ApplicationName* applicationName() { return nameOrNull(nameInForce.load()); }

const ApplicationName* fixedApplicationName() {
  const ApplicationName* name = nullptr;
  if (nameInForce.compare_exchange_strong(name, &unnamed())) return nullptr;
  return nameOrNull(name);
}

std::optional<ZORValue> infoOfNamedApplication(const ApplicationName& name,
                                               const std::string& key) {
  const bool isVersion =
      key == literals::kBundleShortVersionKey.view() || key == literals::kBundleVersionKey.view();
  return isVersion ? std::optional<ZORValue>(name.version) : std::nullopt;
}

ScopedApplicationName::ScopedApplicationName() : _previous(nameInForce.exchange(nullptr)) {}

ScopedApplicationName::~ScopedApplicationName() {
  const ApplicationName* const name = nameOrNull(nameInForce.exchange(_previous));
  delete name;
}

}  // namespace zor
