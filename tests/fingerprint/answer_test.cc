#include <gtest/gtest.h>

#include "fingerprint/fingerprint_request.h"
#include "literals/literals.h"
#include "support/text.h"

namespace zor {
namespace {

FingerprintOutcome judged(const std::string& body) {
  URLResponse response;
  response.statusCode = 200;
  return judgeFingerprintAnswer(utf8Bytes(body), response, std::nullopt);
}

std::string answer(const std::string& status, const std::string& data) {
  return "{\"" + literals::kAnswerStatusKey.str() + "\":" + status + ",\"" +
         literals::kAnswerDataKey.str() + "\":" + data + "}";
}

std::string dataWith(const std::string& fingerprint) {
  return "{\"" + literals::kAnswerFingerprintKey.str() + "\":" + fingerprint + "}";
}

TEST(FingerprintAnswerTest, TheNumberZeroAloneIsSuccess) {
  for (const char* status : {"0", "0.0", "-0", "0e5", "false"}) {
    const auto outcome = judged(answer(status, dataWith("\"fp\"")));
    EXPECT_TRUE(outcome.success) << status;
    EXPECT_EQ(outcome.fingerprint, "fp");
    EXPECT_EQ(outcome.pingback, std::nullopt);
  }
  for (const char* status : {"\"0\"", "null", "true", "1", "0.5", "[]", "{}", "\"\""}) {
    const auto outcome = judged(answer(status, dataWith("\"fp\"")));
    EXPECT_FALSE(outcome.success) << status;
    EXPECT_EQ(outcome.fingerprint, "");
    EXPECT_TRUE(std::holds_alternative<ZORValue>(outcome.error)) << status;
  }
}

TEST(FingerprintAnswerTest, ASuccessWithoutATextHasAnEmptyFingerprint) {
  const std::string odd[] = {"null", "5",           "\"fp\"",         "[]",
                             "{}",   dataWith("5"), dataWith("null"), dataWith("[\"fp\"]")};
  for (const std::string& data : odd) {
    const auto outcome = judged(answer("0", data));
    EXPECT_TRUE(outcome.success) << data;
    EXPECT_EQ(outcome.fingerprint, "") << data;
  }
  EXPECT_EQ(judged(answer("0", dataWith("\"a\\u0000b\""))).fingerprint, std::string("a\0b", 3));
}

TEST(FingerprintAnswerTest, AnAnswerThatCannotBeReadIsAFailureWithoutAnError) {
  const std::string nested(600, '[');
  for (const std::string& body : {std::string(), std::string("{"), std::string("\xFF"), nested,
                                  answer("0", "NaN"), answer("0", "{}") + std::string(1, '\0')}) {
    const auto outcome = judged(body);
    EXPECT_FALSE(outcome.success);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(outcome.error));
    EXPECT_EQ(outcome.pingback,
              formatText(literals::kPingbackRequestRefusedFormat.view(), {"200", std::nullopt}));
  }
  const auto scalar = judged("[1, \"x\"]");  // JSON, but not a dictionary.
  EXPECT_EQ(std::get<ZORValue>(scalar.error), ZORValue::array({1, "x"}));
  EXPECT_EQ(scalar.pingback,
            formatText(literals::kPingbackRequestRefusedFormat.view(), {"200", "[1,\"x\"]"}));
}

TEST(FingerprintAnswerTest, RetryAfterIsANumberOfSecondsOrADate) {
  constexpr double kNow = 784111770;  // date -ud 'Sun, 06 Nov 1994 08:49:30' +%s
  const struct {
    const char* value;
    double seconds;
  } kRows[] = {
      {"120", 120},       {"0", 0},          {"Sun, 06 Nov 1994 08:49:37 GMT", 7},
      {"", -1},           {"-1", -1},        {"Sun, 06 Nov 1994 08:49:07 GMT", 0},
      {"1.5", -1},        {"soon", -1},      {"Sun, 31 Feb 1995 08:49:37 GMT", -1},
      {"9999999999", -1}, {"12 apples", -1}, {"Sun, 06 Nov 1994 08:49:37 GMT+1", -1},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(retryAfterSeconds(row.value, kNow), row.seconds) << row.value;
  }
}

TEST(FingerprintAnswerTest, TransportErrorsAndOtherStatusesAreDescribed) {
  URLResponse response;
  response.statusCode = 503;
  const auto format = literals::kPingbackRequestErrorFormat.view();
  const auto busy = judgeFingerprintAnswer(std::nullopt, response, std::nullopt);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(busy.error));
  EXPECT_EQ(busy.failure.reason, ZOR_FINGERPRINT_REASON_STATUS);
  EXPECT_EQ(busy.failure.httpStatus, 503);
  EXPECT_EQ(busy.pingback, formatText(format, {"503", std::nullopt, "0", std::nullopt}));

  const ZORError error{"domain", -1001, "slow"};
  const auto failed = judgeFingerprintAnswer(std::nullopt, std::nullopt, error);
  EXPECT_EQ(std::get<ZORError>(failed.error), error);
  EXPECT_EQ(failed.pingback, formatText(format, {"0", "domain", "-1001", "slow"}));
  response.statusCode = 200;
  EXPECT_FALSE(judgeFingerprintAnswer(utf8Bytes(answer("0", "{}")), response, error).success);
}

}  // namespace
}  // namespace zor
