#include "fingerprint/fingerprint_request.h"

#include <string_view>
#include <utility>

#include "crypto/request_signature.h"
#include "literals/labels.h"
#include "literals/literals.h"
#include "pingback/ZORSecPingback.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

constexpr double kTimeoutSeconds = 10.0;

std::string requestBody(const std::string& environmentReport) {
  const auto body = ZORValue::dictionary(
      {{literals::kBodyEnvironmentKey.str(), environmentReport},
       {literals::kBodyPlatformKey.str(), platformLabel()},
       {literals::kBodySignatureKey.str(), calcSignature(environmentReport).value_or("")},
       {literals::kBodyVersionKey.str(), versionLabel()},
       {literals::kBodyReservedKey.str(), ""}});
  return jsonFromValue(body).value_or("");
}

std::optional<ZORValue> parsedBody(const std::optional<Data>& body) {
  if (!body) return std::nullopt;
  return valueFromJson(textOf(*body));
}

bool isAccepted(const std::optional<ZORValue>& answer) {
  if (!answer) return false;
  const ZORValue& status = (*answer)[literals::kAnswerStatusKey.view()];
  // To the heritage platform a boolean is a number too, and false equals 0.
  return status == 0 || status == false;
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
FingerprintOutcome refusal(int status, const std::optional<ZORValue>& answer) {
  FingerprintOutcome outcome;
  if (answer) outcome.error.emplace<ZORValue>(*answer);
  outcome.pingback =
      formatText(literals::kPingbackRequestRefusedFormat.view(),
                 {std::to_string(status), answer ? jsonFromValue(*answer) : std::nullopt});
  return outcome;
}

FingerprintOutcome acceptance(const ZORValue& answer) {
  FingerprintOutcome outcome;
  outcome.success = true;
  outcome.data = answer[literals::kAnswerDataKey.view()];
  const std::string* text = outcome.data[literals::kAnswerFingerprintKey.view()].text();
  if (text != nullptr) outcome.fingerprint = *text;
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
