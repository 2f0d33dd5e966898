#include "sandbox/known_machines.h"
#include "sandbox/profile_words.h"
#include "sandbox/service_crypto.h"
#include "sandbox/services.h"
#include "sandbox/unsealing.h"
#include "support/json_codec.h"

namespace zor::sandbox {
namespace {

constexpr std::size_t kReportEntries = 23;

// Values of the answer's status other than 0, which is success.
constexpr int kStatusWrongSignature = 1001;
constexpr int kStatusUnreadableReport = 1002;

struct FingerprintRequest {
  std::string environment;
  std::string platform;
  std::string signature;
  std::string version;
};

std::optional<FingerprintRequest> readRequest(const std::string& body) {
  const auto json = valueFromJson(body);
  if (!json || !json->isDictionary()) return std::nullopt;
  const auto text = [&content = *json](std::string_view key) { return content[key].text(); };
  const auto environment = text(words::kBodyEnvironmentKey.view());
  const auto platform = text(words::kBodyPlatformKey.view());
  const auto signature = text(words::kBodySignatureKey.view());
  const auto version = text(words::kBodyVersionKey.view());
  const auto reserved = text(words::kBodyReservedKey.view());
  if (!environment || !platform || !signature || !version || !reserved) return std::nullopt;
  return FingerprintRequest{*environment, *platform, *signature, *version};
}

std::string signingKey() {
  const auto sealed = decodeBase64(words::kSigningKey.view()).value_or("");
  return openZeroFilled(words::kTextCipherKey.view(), words::kTextCipherVector.view(), sealed)
      .value_or("");
}

bool isSigned(const FingerprintRequest& request) {
  return sameDigest(
      hmacSha1Hex(signingKey(), request.environment + request.platform + request.version),
      request.signature);
}

ServiceAnswer refusal(int answerStatus, const std::string& reason) {
  ServiceAnswer answer;
  answer.headers.emplace_back("Content-Type", "application/json");
  answer.body = jsonForDisplay(
      ZORValue::dictionary({{words::kAnswerStatusKey.str(), answerStatus}, {"reason", reason}}));
  answer.verdict = "refused: " + reason;
  answer.details = ZORValue::dictionary(
      {{"refused", reason},
       {"signature", answerStatus == kStatusWrongSignature ? "wrong" : "right"}});
  return answer;
}

ServiceAnswer notUnderstood(int status, const std::string& reason) {
  ServiceAnswer answer;
  answer.status = status;
  answer.verdict = "not understood: " + reason;
  return answer;
}

std::int64_t millisecondsSince1970(std::chrono::system_clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

// Shared by all services in this process: they all know a machine by the same fingerprint.
KnownMachines& knownMachines() {
  static auto& machines = *new KnownMachines;
  return machines;
}

ServiceAnswer issue(const SandboxSettings& settings, const ZORValue& report) {
  const auto unsealed = unsealIdentity(report, settings.bundleVersions);
  // If the identity does not open, the whole report identifies the machine.
  const std::string fingerprint = unsealed ? knownMachines().fingerprintOf(unsealed->identity)
                                           : KnownMachines::newFingerprint(report);
  ServiceAnswer answer;
  answer.headers.emplace_back("Content-Type", "application/json");
  const auto data =
      ZORValue::dictionary({{words::kAnswerFingerprintKey.str(), fingerprint},
                            {words::kAnswerExpiryKey.str(),
                             millisecondsSince1970(settings.now()) + settings.expirySeconds * 1000},
                            {words::kAnswerLifetimeKey.str(), settings.lifetimeSeconds}});
  answer.body = jsonForDisplay(ZORValue::dictionary(
      {{words::kAnswerStatusKey.str(), 0}, {words::kAnswerDataKey.str(), data}}));
  answer.details = ZORValue::dictionary({{"report", report},
                                         {"fingerprint", fingerprint},
                                         {"signature", "right"},
                                         {"rule", unsealed ? "sealed identity" : "whole report"}});
  answer.verdict = "signature right, report of " + std::to_string(report.size()) + " entries";
  if (report.size() != kReportEntries) answer.verdict += " (23 expected)";
  if (!unsealed) {
    answer.verdict += ", identity does not open";
    return answer;
  }
  answer.details.set("identity", unsealed->identity);
  answer.details.set("bundleVersion", ZORValue::orNull(unsealed->bundleVersion));
  answer.verdict +=
      ", identity opened with bundle version " + unsealed->bundleVersion.value_or("(none)");
  return answer;
}

}  // namespace

ServiceAnswer answerFingerprintRequest(const SandboxSettings& settings, const std::string& method,
                                       const std::string& body) {
  if (method != words::kFingerprintMethod.view()) {
    return notUnderstood(kWrongMethod, "method " + method);
  }
  const auto request = readRequest(body);
  if (!request) return notUnderstood(kBadRequest, "body without the five texts");
  if (!isSigned(*request)) return refusal(kStatusWrongSignature, "the signature is wrong");
  const auto text = decodeBase64(request->environment);
  const auto report = text ? valueFromJson(*text) : std::nullopt;
  if (!report || !report->isDictionary())
    return refusal(kStatusUnreadableReport, "the report is not JSON in base64");
  return issue(settings, *report);
}

}  // namespace zor::sandbox
