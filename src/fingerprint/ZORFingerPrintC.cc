#include <ZORFingerPrint/ZORFingerPrint.h>
#include <ZORFingerPrint/ZORFingerPrintC.h>

#include <cstdlib>
#include <cstring>

#include "fingerprint/local_data.h"
#include "support/guarded_call.h"
#include "support/json_codec.h"

namespace zor {
namespace {

// Ends at a NUL inside, as C texts do.
char* newText(const std::string& text) noexcept { return ::strdup(text.c_str()); }

// The result of `function`; null when it throws or has none.
template <typename Function>
char* newTextOf(const Function& function) noexcept {
  try {
    const std::optional<std::string> text = function();
    return text ? newText(*text) : nullptr;
  } catch (...) {
    return nullptr;
  }
}

void callBack(zor_fingerprint_callback callback, void* context, bool success,
              const ZORFingerprintError& error, const std::string& fingerprint) {
  zor_fingerprint_error shown{};
  if (!success) {
    const ZORFailure failure = ZORFingerPrint::sharedInstance()->lastFailure();
    shown.reason = failure.reason;
    shown.http_status = failure.httpStatus;
    shown.route = failure.route;
    shown.retry_after_seconds = failure.retryAfterSeconds;
  }
  std::string answer;
  if (const auto* known = std::get_if<ZORError>(&error)) {
    shown.domain = known->domain.c_str();
    shown.code = known->code;
    shown.description = known->localizedDescription.c_str();
  } else if (const auto* refusal = std::get_if<ZORValue>(&error)) {
    answer = jsonFromValue(*refusal).value_or("");
    shown.answer = answer.c_str();
  }
  callback(context, success ? 1 : 0, success ? nullptr : &shown, fingerprint.c_str());
}

// 0 when it throws.
template <typename Function>
int numberOf(const Function& function) noexcept {
  try {
    return function();
  } catch (...) {
    return 0;
  }
}

std::optional<std::string> descriptionOf(const std::optional<ZORError>& error) {
  return error ? std::optional(error->localizedDescription) : std::nullopt;
}

// Nothing: done. Any other number counts as a refusal: only a clear "yes" is consent.
std::optional<std::string> keepConsentOfC(int consent) {
  const bool isKnown =
      consent == ZOR_FINGERPRINT_CONSENT_UNKNOWN || consent == ZOR_FINGERPRINT_CONSENT_GIVEN;
  return descriptionOf(
      ZORFingerPrint::setConsent(isKnown ? static_cast<ZORConsent>(consent) : ZORConsent::refused));
}

std::optional<std::string> withholdForC(const char* const* names, std::size_t count) {
  std::vector<std::string> given;
  for (std::size_t index = 0; names != nullptr && index < count; ++index) {
    given.emplace_back(names[index] != nullptr ? names[index] : "");
  }
  ZORConfig config;
  if (const auto error = config.setWithheldEntries(given)) return descriptionOf(error);
  ZORFingerPrint::setWithConfig(config);
  return std::nullopt;
}

}  // namespace
}  // namespace zor

using zor::ZORFingerPrint;

char* zor_fingerprint_get(zor_fingerprint_callback callback, void* context) {
  return zor::newTextOf([callback, context]() {
    if (callback == nullptr) return ZORFingerPrint::sharedInstance()->getFingerprint();
    return ZORFingerPrint::sharedInstance()->getFingerprint(
        [callback, context](bool success, const zor::ZORFingerprintError& error,
                            const std::string& fingerprint) {
          zor::callBack(callback, context, success, error, fingerprint);
        });
  });
}

char* zor_fingerprint_identifier(void) { return zor::newTextOf(&ZORFingerPrint::identifier); }

char* zor_fingerprint_environment(void) {
  return zor::newTextOf([] { return ZORFingerPrint::sharedInstance()->getEnvInfo(); });
}

void zor_fingerprint_clear_cache(void) {
  zor::callIgnoringExceptions([] { ZORFingerPrint::sharedInstance()->clearFingerprintCache(); });
}

int zor_fingerprint_set_application(const char* identifier, const char* version) {
  if (identifier == nullptr || version == nullptr) return 0;
  bool done = false;
  zor::callIgnoringExceptions([&] { done = ZORFingerPrint::setApplication(identifier, version); });
  return done ? 1 : 0;
}

void zor_fingerprint_set_store_path(const char* path) {
  if (path == nullptr) return;
  zor::callIgnoringExceptions([path] {
    zor::ZORConfig config;
    config.setStorePath(path);
    ZORFingerPrint::setWithConfig(config);
  });
}

void zor_fingerprint_require_consent(int required) {
  zor::callIgnoringExceptions([required] {
    zor::ZORConfig config;
    config.setConsentRequired(required != 0);
    ZORFingerPrint::setWithConfig(config);
  });
}

void zor_fingerprint_set_total_timeout(double seconds) {
  zor::callIgnoringExceptions([seconds] {
    zor::ZORConfig config;
    config.setTotalTimeoutSeconds(seconds);
    ZORFingerPrint::setWithConfig(config);
  });
}

char* zor_fingerprint_set_consent(int consent) {
  return zor::newTextOf([consent] { return zor::keepConsentOfC(consent); });
}

int zor_fingerprint_consent(void) {
  return zor::numberOf([] { return static_cast<int>(ZORFingerPrint::consent()); });
}

int zor_fingerprint_is_permitted(void) {
  return zor::numberOf([] { return ZORFingerPrint::isPermitted() ? 1 : 0; });
}

char* zor_fingerprint_set_withheld_entries(const char* const* names, size_t count) {
  return zor::newTextOf([names, count] { return zor::withholdForC(names, count); });
}

char* zor_fingerprint_entries(void) {
  return zor::newTextOf([] {
    zor::ZORValue list = zor::ZORValue::array();
    for (const std::string& name : ZORFingerPrint::entryNames()) list.append(name);
    return zor::jsonFromValue(list);
  });
}

char* zor_fingerprint_set_shared_identifier_opt_out(int opt_out) {
  return zor::newTextOf([opt_out] {
    return zor::descriptionOf(ZORFingerPrint::setSharedIdentifierOptOut(opt_out != 0));
  });
}

int zor_fingerprint_shared_identifier_opted_out(void) {
  return zor::numberOf([] { return ZORFingerPrint::isSharedIdentifierOptedOut() ? 1 : 0; });
}

char* zor_fingerprint_erase(int dry_run) {
  return zor::newTextOf([dry_run] {
    return zor::jsonFromValue(zor::erasureAsValue(ZORFingerPrint::eraseLocalData(dry_run != 0)));
  });
}

void zor_fingerprint_set_log_handler(zor_fingerprint_log_handler handler, void* context) {
  zor::callIgnoringExceptions([handler, context] {
    if (handler == nullptr) return zor::ZORSetLogHandler({});
    zor::ZORSetLogHandler(
        [handler, context](const std::string& line) { handler(context, line.c_str()); });
  });
}

char* zor_fingerprint_platform(void) { return zor::newTextOf(&ZORFingerPrint::PLATFORM); }

char* zor_fingerprint_version(void) { return zor::newTextOf(&ZORFingerPrint::VERSION); }

void zor_fingerprint_free(char* text) { std::free(text); }
