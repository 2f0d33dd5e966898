#include "consent/consent.h"

#include <atomic>

#include "literals/literals.h"
#include "platform/ports.h"

namespace zor {
namespace {

constexpr const char* kGiven = "given";
constexpr const char* kRefused = "refused";

std::atomic<bool> requiredByHost{false};

}  // namespace

ZORConsent keptConsent() {
  const auto kept = ports().defaults.objectForKey(literals::kConsentDefaultsKey.str());
  if (!kept || kept->text() == nullptr) return ZORConsent::unknown;
  if (*kept->text() == kGiven) return ZORConsent::given;
  return *kept->text() == kRefused ? ZORConsent::refused : ZORConsent::unknown;
}

Status keepConsent(ZORConsent consent) {
  const std::string key = literals::kConsentDefaultsKey.str();
  if (consent == ZORConsent::unknown) return ports().defaults.removeObject(key);
  return ports().defaults.setObject(key, consent == ZORConsent::given ? kGiven : kRefused);
}

bool isConsentRequired() {
  return requiredByHost.load() || literals::kConsentRequired.view() == "yes";
}

void setConsentRequiredByHost(bool required) { requiredByHost.store(required); }

bool isPermitted() {
  const ZORConsent kept = keptConsent();
  return kept == ZORConsent::given || (kept == ZORConsent::unknown && !isConsentRequired());
}

}  // namespace zor
