#include <gtest/gtest.h>

#include "literals/literals.h"
#include "pingback/ZORSecPingback.h"
#include "pingback/ZORSecPingbackStore.h"
#include "session/ZORHttpsURLSession.h"
#include "support/json_codec.h"
#include "support/text.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

class PingbackUploads : public ::testing::Test {
 protected:
  enum UploadCheck { notDue, nothingToSend, sent };
  UploadCheck check() {
    UploadCheck outcome = notDue;
    const bool due = store->checkIfNeedUpload(
        [&outcome](const PingbackUpload& upload) { outcome = upload.sent ? sent : nothingToSend; });
    // The file is read on the store's queue, and the outcome is handled there too.
    std::ignore = store->fileSize();
    zor_httpsOperationQueue().waitUntilAllOperationsAreFinished();
    std::ignore = store->fileSize();
    EXPECT_EQ(due, outcome != notDue);
    return outcome;
  }
  void answer(const testing::ScriptedURLLoading::Answer& with) {
    machine.urlLoading.setScript([with](const URLRequest&) { return with; });
  }
  std::optional<ZORValue> uploadedAt() {
    return machine.defaults.objectForKey("com.tidewater.dfp.pingback.uploadedAt");
  }
  // The types of the records in the file, in order.
  std::vector<std::string> types() const {
    std::vector<std::string> found;
    const ZORValue records = testing::json(store->readStr().content().value_or(""));
    for (const ZORValue& record : records.elements())
      found.push_back(*record["pbErrorType"].text());
    return found;
  }
  using Types = std::vector<std::string>;

  testing::FakeMachine machine;
  const std::shared_ptr<ZORSecPingbackStore> store = GetPingbackStore();
};

TEST(PingbackUploadGate, OpensWhenMoreThanADayLiesBetweenTheTimesInEitherDirection) {
  const double now = 1700000000;
  EXPECT_FALSE(isPingbackUploadDue(now, now - 86400));
  EXPECT_TRUE(isPingbackUploadDue(now, now - 86400.5));
  EXPECT_FALSE(isPingbackUploadDue(now, now + 86400));
  EXPECT_TRUE(isPingbackUploadDue(now, now + 86400.5));
  EXPECT_TRUE(isPingbackUploadDue(now, 0));
  EXPECT_FALSE(isPingbackTextTooLargeToKeep(256000));
  EXPECT_TRUE(isPingbackTextTooLargeToKeep(256001));
}

TEST_F(PingbackUploads, AnEmptyFileStartsTheDayAndSendsNothing) {
  machine.clock.set(1700000000.25);
  EXPECT_EQ(check(), nothingToSend);
  EXPECT_EQ(uploadedAt(), "1700000000.25");
  ZORSecPingback::sendWithError(0, "later", std::nullopt);
  machine.clock.advance(86400);
  EXPECT_EQ(check(), notDue);
  EXPECT_TRUE(machine.urlLoading.requests().empty());
  machine.clock.advance(0.5);
  EXPECT_EQ(check(), sent);
}

TEST_F(PingbackUploads, AnUploadSendsPrefixAndFileOnceAndEmptiesTheFile) {
  ZORSecPingback::sendWithError(0, "kept", "text");
  const std::string text = store->readStr().content().value_or("");
  std::optional<ZORValue> recordedWhenSent;
  machine.urlLoading.setScript([&](const URLRequest&) {
    recordedWhenSent = uploadedAt();
    return testing::ScriptedURLLoading::status(200, "not read");
  });
  EXPECT_EQ(check(), sent);
  const auto requests = machine.urlLoading.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].url, literals::kPingbackURL.str());
  EXPECT_EQ(requests[0].method, "POST");
  EXPECT_TRUE(requests[0].headers.empty());
  EXPECT_EQ(requests[0].timeoutSeconds, 10.0);
  EXPECT_EQ(textFromUtf8(requests[0].body), "pingbackRecords=" + text);
  EXPECT_EQ(recordedWhenSent, "1700000000") << "Before anything is sent.";
  EXPECT_EQ(store->fileSize(), 0U);
  EXPECT_EQ(check(), notDue) << "The time stays after a success.";
}

TEST_F(PingbackUploads, AFailureKeepsTheFileIsRecordedAndIsRetriedAtOnce) {
  const struct {
    testing::ScriptedURLLoading::Answer answer;
    std::string description;
  } rows[] = {
      {testing::ScriptedURLLoading::status(201), "status:201 domain:(null) code:0 text:(null)"},
      {testing::ScriptedURLLoading::status(204), "status:204 domain:(null) code:0 text:(null)"},
      {testing::ScriptedURLLoading::status(500), "status:500 domain:(null) code:0 text:(null)"},
      {testing::ScriptedURLLoading::unreachable(),
       "status:0 domain:NSURLErrorDomain code:-1004 text:No route"},
      {{std::nullopt, testing::ScriptedURLLoading::status(200).response, ZORError{"d", 7, "late"}},
       "status:200 domain:d code:7 text:late"},
  };
  ZORSecPingback::sendWithError(0, "kept", std::nullopt);
  Types expected = {"kept"};
  for (const auto& row : rows) {
    answer(row.answer);
    EXPECT_EQ(check(), sent) << row.description;
    EXPECT_EQ(uploadedAt(), std::nullopt);
    expected.push_back("pingback_error");
    EXPECT_EQ(types(), expected);
    const ZORValue last = testing::json(*store->readStr()).elements().back();
    EXPECT_EQ(last["pbErrorDescription"], "upload " + row.description);
    EXPECT_EQ(last["pbErrorClass"], 2);
  }
}

TEST_F(PingbackUploads, AFailedUploadOfALargeFileLeavesTwoFreshRecords) {
  answer(testing::ScriptedURLLoading::status(500));
  // Four bytes each, two UTF-16 units each; with the quotes and brackets 256001 units.
  std::string text;
  while (text.size() < std::size_t{127997} * 4) text += "\U0001F600";
  for (const bool large : {false, true}) {
    store->clearFileContent();
    const std::string array = "[\"" + text + (large ? "xxx" : "xx") + "\"]";
    store->writeDictionary(ZORValue::dictionary({{"n", 1}}), false);  // So that the file is there.
    std::ignore = machine.files.writeAtomically(store->file()->fullPath(), utf8Bytes(array));
    ASSERT_EQ(utf16Length(array), large ? 256001U : 256000U);
    EXPECT_EQ(check(), sent);
    if (large) {
      EXPECT_EQ(types(), (Types{"pingback_overflow", "pingback_error"}));
    } else {
      EXPECT_NE(store->readStr()->find(text), std::string::npos) << "Kept.";
    }
  }
}

TEST_F(PingbackUploads, AnUnusableTimeInTheDefaultsCountsAsLongAgo) {
  for (const char* stored : {"", "never", "1e999", "-1e999"}) {
    machine.defaults.setObject("com.tidewater.dfp.pingback.uploadedAt", stored);
    EXPECT_EQ(check(), nothingToSend) << stored;
  }
  machine.defaults.setObject("com.tidewater.dfp.pingback.uploadedAt", 1700000000.0);
  EXPECT_EQ(check(), notDue) << "A number will do.";
}

TEST_F(PingbackUploads, TheCallersCompletionComesAfterTheRecordOfTheFailure) {
  answer(testing::ScriptedURLLoading::status(500));
  ZORSecPingback::sendWithError(0, "kept", std::nullopt);
  Types seen;
  store->checkIfNeedUpload([&](const PingbackUpload& upload) {
    EXPECT_EQ(upload.response->statusCode, 500);
    EXPECT_FALSE(upload.error);
    seen = types();
  });
  std::ignore = store->fileSize();
  zor_httpsOperationQueue().waitUntilAllOperationsAreFinished();
  EXPECT_EQ(seen, (Types{"kept", "pingback_error"}));
}

}  // namespace
}  // namespace zor
