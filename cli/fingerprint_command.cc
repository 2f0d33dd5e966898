#include <ZORFingerPrint/ZORFingerPrint.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <thread>
#include <tuple>

#include "cli/awaited_value.h"
#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/terminal.h"
#include "literals/literals.h"
#include "pingback/ZORSecPingbackStore.h"
#include "support/json_codec.h"

namespace zor::cli {
namespace {

struct FetchedFingerprint {
  bool success = false;
  bool cached = false;
  ZORFingerprintError error;
  std::string fingerprint;
};

using AwaitedFingerprint = AwaitedValue<FetchedFingerprint>;

// Codes of other domains, such as the transport's, may have the same number.
bool isOwnError(const ZORError& error) {
  return (error.code == ZORFingerPrint::kNoReportCode ||
          error.code == ZOR_FINGERPRINT_ERROR_NO_CONSENT) &&
         error.domain == literals::kFingerprintErrorDomain.view();
}

int exitStatus(const FetchedFingerprint& outcome) {
  if (outcome.success) return kDone;
  if (std::holds_alternative<ZORValue>(outcome.error)) return kRefused;
  const auto* error = std::get_if<ZORError>(&outcome.error);
  return error != nullptr && isOwnError(*error) ? kFailed : kTransport;
}

// `domain` and `code` are null if no error of the library or the platform caused it.
ZORValue errorAsJson(const ZORValue& domain, const ZORValue& code, const std::string& description) {
  return ZORValue::dictionary({{"domain", domain}, {"code", code}, {"description", description}});
}

ZORValue errorAsJson(const ZORFingerprintError& error) {
  if (const auto* answer = std::get_if<ZORValue>(&error)) return *answer;
  if (const auto* known = std::get_if<ZORError>(&error)) {
    return errorAsJson(known->domain, known->code, known->localizedDescription);
  }
  return nullptr;
}

std::string errorForPeople(const ZORFingerprintError& error) {
  if (const auto* answer = std::get_if<ZORValue>(&error)) {
    return "The service refused: " + shown(*answer);
  }
  if (const auto* known = std::get_if<ZORError>(&error)) {
    return known->localizedDescription + " (" + known->domain + " " + std::to_string(known->code) +
           ")";
  }
  return "The service gave no usable answer.";
}

void print(const FetchedFingerprint& outcome, bool json) {
  if (json) {
    printJson(ZORValue::dictionary({{"success", outcome.success},
                                    {"fingerprint", outcome.fingerprint},
                                    {"cached", outcome.cached},
                                    {"error", errorAsJson(outcome.error)}}));
  } else if (outcome.success) {
    std::cout << shown(outcome.fingerprint)
              << (outcome.cached ? "  (cached)" : "  (from the service)") << std::endl;
  } else {
    printDiagnostic(errorForPeople(outcome.error));
  }
}

// With every route silent the library gives up after 223 s, by the sum of the limits on its
// requests.
constexpr double kMaxChainSeconds = 223;

int reportNoAnswer(double timeoutSeconds, bool json) {
  if (json) {
    printJson(
        ZORValue::dictionary({{"success", false},
                              {"fingerprint", ""},
                              {"cached", false},
                              {"error", errorAsJson(nullptr, nullptr, "no answer in time")}}));
  }
  std::string message = "No answer within " + jsonForDisplay(timeoutSeconds) + " s.";
  if (timeoutSeconds < kMaxChainSeconds) {
    message += " With every route silent it takes up to 223 s to try them all; \"--timeout 230\" " +
               std::string("waits for that, and \"zorfp doctor\" shows which route answers.");
  }
  printDiagnostic(message);
  return kNoAnswerInTime;
}

// Asks for the fingerprint and delivers the result to `waiter`, which may outlive the command.
void startFingerprint(const std::shared_ptr<AwaitedFingerprint>& waiter) {
  const StandardOutputToError redirected;  // A request starts with a collection.
  const auto caller = std::this_thread::get_id();
  ZORFingerPrint::sharedInstance()->getFingerprint(
      [waiter, caller](bool success, const ZORFingerprintError& error,
                       const std::string& fingerprint) {
        // Only a cached value is delivered on the caller's own thread with success.
        const bool cached = success && std::this_thread::get_id() == caller;
        waiter->deliver({success, cached, error, fingerprint});
      });
}

}  // namespace

int runFingerprint(const FingerprintOptions& options, HostPorts& host) {
  // Shared, because the callback may run after this function has timed out.
  const auto waiter = std::make_shared<AwaitedFingerprint>();
  startFingerprint(waiter);
  const auto outcome = waiter->wait("Asking the fingerprint service",
                                    std::chrono::duration<double>(options.timeoutSeconds));
  if (!outcome) return reportNoAnswer(options.timeoutSeconds, options.json);
  print(*outcome, options.json);
  constexpr std::chrono::seconds kForTheBackupAddresses{2};
  host.urlLoading().waitUntilIdle(kForTheBackupAddresses);
  // Reading waits for the queued records, so that they reach the file.
  std::ignore = GetPingbackStore()->readStr();
  return exitStatus(*outcome);
}

}  // namespace zor::cli
