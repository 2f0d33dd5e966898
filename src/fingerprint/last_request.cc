#include "fingerprint/last_request.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "literals/literals.h"
#include "platform/ports.h"
#include "support/url.h"
#include "transport/backup_list.h"

namespace zor {
namespace {

constexpr const char* kAskedAt = "askedAt";
constexpr const char* kEndedAt = "endedAt";
constexpr const char* kOutcome = "outcome";
constexpr const char* kRoute = "route";

std::optional<ZORValue> keptNote() {
  auto kept = ports().defaults.objectForKey(literals::kLastRequestDefaultsKey.str());
  return kept && kept->isDictionary() ? std::move(kept) : std::nullopt;
}

void keepNote(const ZORValue& note) {
  std::ignore = ports().defaults.setObject(literals::kLastRequestDefaultsKey.str(), note);
}

std::optional<std::string> textIn(const ZORValue& note, const char* key) {
  const std::string* text = note[key].text();
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

bool isBackupAddress(const std::string& host) {
  const auto kept = ports().defaults.objectForKey(backupAddressesKey());
  if (!kept || kept->text() == nullptr) return false;
  const auto addresses = addressesInBackupDocument(*kept->text());
  return std::find(addresses.begin(), addresses.end(), host) != addresses.end();
}

// The URL that answered reveals the route: the routes by address have the address in place of the
// name. A name never ends in a digit and has no colon.
std::string routeOf(const URLResponse& response) {
  const std::string host = hostOfUrl(response.url).value_or("");
  const bool isAddress = host.find(':') != std::string::npos ||
                         (!host.empty() && host.back() >= '0' && host.back() <= '9');
  if (!isAddress) return "by name";
  return isBackupAddress(host) ? "by backup address" : "by HTTPDNS address";
}

const char* outcomeOf(const FingerprintOutcome& outcome) {
  if (outcome.success) return "success";
  return std::holds_alternative<ZORValue>(outcome.error) ? "refused" : "failed";
}

}  // namespace

std::optional<LastRequest> lastRequest() {
  const auto note = keptNote();
  if (!note) return std::nullopt;
  return LastRequest{(*note)[kAskedAt].number(), (*note)[kEndedAt].number(),
                     textIn(*note, kOutcome), textIn(*note, kRoute)};
}

void noteRequest() {
  keepNote(ZORValue::dictionary({{kAskedAt, ports().clock.secondsSince1970()}}));
}

void noteOutcome(const FingerprintOutcome& outcome, const std::optional<URLResponse>& response) {
  ZORValue note = keptNote().value_or(ZORValue::dictionary());
  note.set(kEndedAt, ports().clock.secondsSince1970());
  note.set(kOutcome, outcomeOf(outcome));
  if (response) {
    note.set(kRoute, routeOf(*response));
  } else {
    note.erase(kRoute);
  }
  keepNote(note);
}

}  // namespace zor
