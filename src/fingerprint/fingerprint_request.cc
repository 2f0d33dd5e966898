#include "fingerprint/fingerprint_request.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <utility>

#include "crypto/request_signature.h"
#include "literals/labels.h"
#include "literals/literals.h"
#include "pingback/ZORSecPingback.h"
#include "platform/ports.h"
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

// Days from 1970 to a day of the Gregorian calendar.
std::optional<std::int64_t> daysSince1970(int year, const std::string& month, unsigned day) {
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const auto place = kMonths.find(month);
  if (month.size() != 3 || place == std::string_view::npos || place % 3 != 0) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(place / 3 + 1)),
                                         std::chrono::day(day)};
  if (!date.ok()) return std::nullopt;
  return std::chrono::sys_days(date).time_since_epoch().count();
}

constexpr int kTooManyRequests = 429;
constexpr int kServiceUnavailable = 503;

ZORFailure failureOf(int status, const std::optional<URLResponse>& response,
                     const std::optional<ZORError>& error) {
  ZORFailure failure;
  failure.httpStatus = status;
  failure.reason = error ? ZOR_FINGERPRINT_REASON_NETWORK : ZOR_FINGERPRINT_REASON_STATUS;
  if (error && error->code == ZOR_FINGERPRINT_ERROR_TOTAL_TIME &&
      error->domain == literals::kFingerprintErrorDomain.view()) {
    failure.reason = ZOR_FINGERPRINT_REASON_TOTAL_TIME;
  }
  if (status != kTooManyRequests && status != kServiceUnavailable) return failure;
  const auto value = response ? response->header("Retry-After") : std::nullopt;
  if (value)
    failure.retryAfterSeconds = retryAfterSeconds(*value, ports().clock.secondsSince1970());
  return failure;
}

FingerprintOutcome transportFailure(int status, const std::optional<URLResponse>& response,
                                    const std::optional<ZORError>& error) {
  FingerprintOutcome outcome;
  outcome.failure = failureOf(status, response, error);
  if (error) outcome.error = *error;
  const ErrorTexts texts = errorTexts(error);
  outcome.pingback =
      formatText(literals::kPingbackRequestErrorFormat.view(),
                 {std::to_string(status), texts.domain, texts.code, texts.description});
  return outcome;
}

// Deliberate: the answer itself is passed as the error, so that hosts see the service's reason.
FingerprintOutcome refusal(int status, const std::optional<ZORValue>& answer) {
  FingerprintOutcome outcome;
  if (answer) outcome.error.emplace<ZORValue>(*answer);
  outcome.failure.httpStatus = status;
  outcome.failure.reason =
      answer ? ZOR_FINGERPRINT_REASON_REFUSED : ZOR_FINGERPRINT_REASON_UNREADABLE;
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

double retryAfterSeconds(const std::string& value, double now) {
  constexpr double kUnknown = -1;
  constexpr double kSecondsOfDay = 86400;
  if (value.find_first_not_of("0123456789") == std::string::npos && !value.empty()) {
    constexpr std::size_t kMaxDigits = 9;
    return value.size() <= kMaxDigits ? std::stod(value) : kUnknown;
  }
  char month[4] = "";
  int day = 0;
  int year = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int length = 0;
  const int read = std::sscanf(value.c_str(), "%*3[A-Za-z], %2d %3[A-Za-z] %4d %2d:%2d:%2d GMT%n",
                               &day, month, &year, &hour, &minute, &second, &length);
  if (read != 6 || static_cast<std::size_t>(length) != value.size() || day < 1) return kUnknown;
  const auto days = daysSince1970(year, month, static_cast<unsigned>(day));
  if (!days || hour > 23 || minute > 59 || second > 60) return kUnknown;
  const double seconds =
      static_cast<double>(*days) * kSecondsOfDay + hour * 3600 + minute * 60 + second - now;
  return std::max(0.0, seconds);
}

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
  if (error || status != kStatusOK) return transportFailure(status, response, error);
  const auto answer = parsedBody(body);
  return isAccepted(answer) ? acceptance(*answer) : refusal(status, answer);
}

}  // namespace zor
