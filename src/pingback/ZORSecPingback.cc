#include "pingback/ZORSecPingback.h"

#include <mutex>

#include "literals/labels.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "store/dfp_store.h"
#include "support/text.h"

namespace zor {

const std::string* _dfp_sdk = nullptr;
const std::string* _dfp_s_v = nullptr;
const std::string* _dfp_sys = nullptr;
const std::string* _dfp_s_aid = nullptr;
const std::string* _dfp_s_av = nullptr;

namespace {

// A text for the rest of the process; null for none.
const std::string* keep(const std::optional<std::string>& text) {
  return text ? new std::string(*text) : nullptr;
}

std::optional<std::string> infoText(BundlePort& bundle, const std::string& key) {
  const auto value = bundle.infoValue(key);
  return value && value->isText() ? std::optional(*value->text()) : std::nullopt;
}

void captureApplication(BundlePort& bundle) {
  _dfp_s_aid = keep(bundle.bundleIdentifier());
  _dfp_s_av = keep(infoText(bundle, literals::kBundleShortVersionKey.str()));
}

void capture(BundlePort& bundle) {
  _dfp_sdk = keep(literals::kPingbackLibraryName.str());
  _dfp_s_v = keep(versionLabel());
  _dfp_sys = keep(literals::kPingbackPlatformName.str());
  captureApplication(bundle);
}

// The fingerprint that the cache keeps now, if any.
std::optional<std::string> storedFingerprint() {
  const auto stored =
      ports().defaults.objectForKey(dfp_slot_key(literals::kFingerprintSlot.view()));
  if (!stored || stored->text() == nullptr) return std::nullopt;
  return *stored->text();
}

std::string entry(const std::optional<std::string>& text) {
  return wellFormedUtf8(text.value_or(""));
}

}  // namespace

ErrorTexts errorTexts(const std::optional<ZORError>& error) {
  if (!error) return {std::nullopt, "0", std::nullopt};
  return {error->domain, std::to_string(error->code), error->localizedDescription};
}

void ZORSecPingback::load() {
  static std::once_flag once;
  std::call_once(once, [] { capture(ports().bundle); });
}

// The earlier texts are not freed: another thread may still use one.
void ZORSecPingback::applicationWasNamed() { captureApplication(ports().bundle); }

ZORSecPingback::ZORSecPingback(std::int64_t error, std::optional<std::string> type,
                               std::optional<std::string> desc)
    : _s_d(storedFingerprint()), _s_e(error), _s_et(std::move(type)), _s_ed(std::move(desc)) {}

std::optional<ZORValue> ZORSecPingback::toDictionary() const {
  auto record =
      ZORValue::dictionary({{literals::kPingbackFingerprintKey.str(), entry(_s_d)},
                            {literals::kPingbackErrorClassKey.str(), _s_e},
                            {literals::kPingbackErrorTypeKey.str(), entry(_s_et)},
                            {literals::kPingbackErrorDescriptionKey.str(), entry(_s_ed)}});
  if (!canBeWritten()) return std::nullopt;
  const std::pair<std::string, const std::string*> environment[] = {
      {literals::kPingbackLibraryKey.str(), _dfp_sdk},
      {literals::kPingbackLibraryVersionKey.str(), _dfp_s_v},
      {literals::kPingbackSystemKey.str(), _dfp_sys},
      {literals::kPingbackApplicationKey.str(), _dfp_s_aid},
      {literals::kPingbackApplicationVersionKey.str(), _dfp_s_av}};
  for (const auto& [key, value] : environment) {
    record.set(key, wellFormedUtf8(*value));
  }
  return record;
}

bool ZORSecPingback::canBeWritten() {
  return _dfp_sdk != nullptr && _dfp_s_v != nullptr && _dfp_sys != nullptr &&
         _dfp_s_aid != nullptr && _dfp_s_av != nullptr;
}

ScopedPingbackEnvironment::ScopedPingbackEnvironment(BundlePort& bundle)
    : _previous{_dfp_sdk, _dfp_s_v, _dfp_sys, _dfp_s_aid, _dfp_s_av} {
  capture(bundle);
}

ScopedPingbackEnvironment::~ScopedPingbackEnvironment() {
  for (const auto* text : {_dfp_sdk, _dfp_s_v, _dfp_sys, _dfp_s_aid, _dfp_s_av}) delete text;
  _dfp_sdk = _previous[0];
  _dfp_s_v = _previous[1];
  _dfp_sys = _previous[2];
  _dfp_s_aid = _previous[3];
  _dfp_s_av = _previous[4];
}

}  // namespace zor
