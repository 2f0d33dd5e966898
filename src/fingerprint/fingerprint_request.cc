#include "fingerprint/fingerprint_request.h"

#include <string_view>
#include <utility>

#include "crypto/request_signature.h"
#include "literals/labels.h"
#include "literals/literals.h"
#include "pingback/error_texts.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

constexpr double kTimeoutSeconds = 10.0;

std::string requestBody(const std::string& environmentReport) {
  Json body = Json::object();
  body[literals::kBodyEnvironmentKey.str()] = environmentReport;
  body[literals::kBodyPlatformKey.str()] = platformLabel();
  body[literals::kBodySignatureKey.str()] = calcSignature(environmentReport).value_or("");
  body[literals::kBodyVersionKey.str()] = versionLabel();
  body[literals::kBodyFifthKey.str()] = "";
  return serializeJson(body).value_or("");
}

std::optional<Json> parsedBody(const std::optional<Data>& body) {
  if (!body) return std::nullopt;
  return parseJson(textOf(*body));
}

// The entry of `value` under `key`; null when there is none or `value` is no dictionary.
Json entryOf(const Json& value, std::string_view key) {
  if (!value.is_object()) return nullptr;
  const auto found = value.find(std::string(key));
  return found == value.end() ? Json() : *found;
}

bool isAccepted(const std::optional<Json>& answer) {
  if (!answer) return false;
  const Json status = entryOf(*answer, literals::kAnswerStatusKey.view());
  // To the heritage platform a boolean is a number too, and false equals 0.
  return (status.is_number() && status == 0) || status == Json(false);
}

FingerprintOutcome transportFailure(int status, const std::optional<ZORError>& error) {
  FingerprintOutcome outcome;
  if (error) outcome.error = *error;
  const ErrorTexts texts = errorTexts(error);
  outcome.pingback =
      formatText(literals::kPingbackRequestErrorFormat.view(),
                 {std::to_string(status), texts.domain, texts.code, texts.description});
  return outcome;
}

// Deliberate: the answer itself takes the place of an error, so that hosts see the service's
// reason.
FingerprintOutcome refusal(int status, const std::optional<Json>& answer) {
  FingerprintOutcome outcome;
  if (answer) outcome.error.emplace<Json>(*answer);
  outcome.pingback =
      formatText(literals::kPingbackRequestRefusedFormat.view(),
                 {std::to_string(status), answer ? serializeJson(*answer) : std::nullopt});
  return outcome;
}

FingerprintOutcome acceptance(const Json& answer) {
  FingerprintOutcome outcome;
  outcome.success = true;
  outcome.data = entryOf(answer, literals::kAnswerDataKey.view());
  const Json fingerprint = entryOf(outcome.data, literals::kAnswerFingerprintKey.view());
  if (fingerprint.is_string()) outcome.fingerprint = fingerprint.get<std::string>();
  return outcome;
}

}  // namespace

URLRequest fingerprintRequest(const std::string& environmentReport) {
  URLRequest request;
  request.url = literals::kFingerprintURL.str();
  request.method = literals::kFingerprintMethod.str();
  request.headers.emplace_back(literals::kFingerprintHeaderName.str(),
                               literals::kFingerprintHeaderValue.str());
  request.body = utf8Bytes(requestBody(environmentReport));
  request.timeoutSeconds = kTimeoutSeconds;
  return request;
}

FingerprintOutcome judgeFingerprintAnswer(const std::optional<Data>& body,
                                          const std::optional<URLResponse>& response,
                                          const std::optional<ZORError>& error) {
  const int status = response ? response->statusCode : 0;
  if (error || status != kStatusOK) return transportFailure(status, error);
  const auto answer = parsedBody(body);
  return isAccepted(answer) ? acceptance(*answer) : refusal(status, answer);
}

}  // namespace zor
