#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

#include "platform/operation_queue.h"
#include "session/ZORHttpsURLSession.h"
#include "tests/fakes/eventually.h"
#include "tests/fakes/fake_ports.h"

namespace zor {
namespace {

using testing::FakeMachine;
using testing::ScriptedURLLoading;
using Answer = ScriptedURLLoading::Answer;

void drain() { zor_httpsOperationQueue().waitUntilAllOperationsAreFinished(); }

URLRequest anyRequest() {
  URLRequest request;
  request.url = "https://service.example/";
  return request;
}

// What the handler got in each call.
struct HandlerCalls {
  TransportCompletion handler() {
    return [this](const auto& body, const auto& response, const auto& error) {
      answers.push_back({body, response, error});
    };
  }
  std::vector<Answer> answers;
};

TEST(HttpsSession, TriesAsOftenAsAskedAndDeliversTheLastAnswer) {
  const auto failure = [](int status) { return ScriptedURLLoading::status(status); };
  const auto okWithError = [] {
    Answer answer = ScriptedURLLoading::status(200, "x");
    answer.error = ScriptedURLLoading::unreachable().error;
    return answer;
  };
  const struct {
    const char* sentence;
    std::uint64_t retryCount;
    std::vector<Answer> script;
    std::size_t requests;
    int lastStatus;  // 0: no response.
    bool success;
  } rows[] = {
      {"none is one", 0, {failure(500), failure(501)}, 1, 500, false},
      {"one is one", 1, {failure(500), failure(501)}, 1, 500, false},
      {"two are two", 2, {failure(500), failure(501), failure(502)}, 2, 501, false},
      {"200 ends it", 2, {failure(200), failure(501)}, 1, 200, true},
      {"the second counts", 2, {failure(404), failure(200)}, 2, 200, true},
      {"201 is no success", 2, {failure(201), failure(201)}, 2, 201, false},
      {"no response",
       2,
       {ScriptedURLLoading::unreachable(), ScriptedURLLoading::unreachable()},
       2,
       0,
       false},
      {"200 with an error is final", 2, {okWithError(), failure(200)}, 1, 200, false},
  };
  for (const auto& row : rows) {
    FakeMachine machine;
    std::size_t next = 0;
    machine.urlLoading.setScript([&](const URLRequest&) { return row.script.at(next++); });
    HandlerCalls outcomes;
    const auto session = ZORHttpsURLSession::create();
    session->performRequestRetryCount(anyRequest(), row.retryCount, outcomes.handler());
    drain();
    EXPECT_EQ(machine.urlLoading.requests().size(), row.requests) << row.sentence;
    ASSERT_EQ(outcomes.answers.size(), 1U) << row.sentence;
    const auto& [body, response, error] = outcomes.answers[0];
    EXPECT_EQ(response ? response->statusCode : 0, row.lastStatus) << row.sentence;
    EXPECT_EQ(zor_isRequestSuccess(body, response, error), row.success) << row.sentence;
  }
}

TEST(HttpsSession, ARepeatIsTheSameRequest) {
  FakeMachine machine;
  URLRequest request = anyRequest();
  request.method = "POST";
  request.headers = {{"Name", "value"}};
  request.body = {1, 0, 2};
  request.timeoutSeconds = 10;
  const auto session = ZORHttpsURLSession::create();
  session->performRequestRetryCount(request, 2, nullptr);
  drain();
  const auto sent = machine.urlLoading.requests();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[1].url, request.url);
  EXPECT_EQ(sent[1].method, "POST");
  EXPECT_EQ(sent[1].headers, request.headers);
  EXPECT_EQ(sent[1].body, request.body);
  EXPECT_EQ(sent[1].timeoutSeconds, 10);
}

TEST(HttpsSession, AReleasedSessionRepeatsNothingAndCallsNobody) {
  FakeMachine machine;
  auto session = ZORHttpsURLSession::create();
  const std::weak_ptr<ZORHttpsURLSession> weakSession = session;
  std::atomic<bool> released{false};
  machine.urlLoading.setScript([&](const URLRequest&) {
    EXPECT_TRUE(testing::eventually([&] { return released.load(); }));
    return ScriptedURLLoading::status(500);
  });
  HandlerCalls outcomes;
  session->performRequestRetryCount(anyRequest(), 2, outcomes.handler());
  session.reset();
  EXPECT_TRUE(weakSession.expired());
  released = true;
  drain();
  EXPECT_EQ(machine.urlLoading.requests().size(), 1U);
  EXPECT_TRUE(outcomes.answers.empty());
}

TEST(HttpsSession, WhatAHandlerThrowsGoesNoFurther) {
  EXPECT_NO_THROW(
      zor_callBlock([](const auto&, const auto&, const auto&) { throw 1; }, {}, {}, {}));
  EXPECT_NO_THROW(zor_callBlock(nullptr, {}, {}, {}));
}

// A chain with verdicts that a test chooses.
struct ChosenTrust final : ServerTrust {
  bool setPolicies(const std::vector<TrustPolicy>& policies) override {
    installed = policies;
    return usable;
  }
  std::optional<TrustEvaluation> evaluate() override { return evaluation; }
  bool credentialAvailable() override { return credential; }

  bool usable = true;
  std::optional<TrustEvaluation> evaluation = TrustEvaluation{TrustResult::unspecified, ""};
  bool credential = true;
  std::vector<TrustPolicy> installed;
};

using Verdict = std::pair<ChallengeDisposition, bool>;

std::optional<Verdict> verdictOn(ZORHttpsURLSession& session,
                                 const AuthenticationChallenge& challenge) {
  std::optional<Verdict> verdict;
  session.didReceiveChallenge(challenge, [&verdict](ChallengeDisposition disposition, bool with) {
    EXPECT_FALSE(verdict.has_value());
    verdict = Verdict(disposition, with);
  });
  return verdict;
}

TEST(ServerTrust, OnlyATrustedChainWithACredentialIsAccepted) {
  const auto verdict = [](TrustResult result) { return TrustEvaluation{result, ""}; };
  const Verdict accept(ChallengeDisposition::useCredential, true);
  const Verdict reject(ChallengeDisposition::rejectProtectionSpace, false);
  const Verdict byDefault(ChallengeDisposition::performDefaultHandling, false);
  const struct {
    const char* sentence;
    bool usable;
    std::optional<TrustEvaluation> evaluation;
    bool credential;
    Verdict expected;
  } rows[] = {
      {"anchored", true, verdict(TrustResult::unspecified), true, accept},
      {"trusted by the user", true, verdict(TrustResult::proceed), true, accept},
      {"no credential", true, verdict(TrustResult::proceed), false, byDefault},
      {"invalid", true, verdict(TrustResult::invalid), true, reject},
      {"denied", true, verdict(TrustResult::deny), true, reject},
      {"recoverable", true, verdict(TrustResult::recoverableFailure), true, reject},
      {"fatal", true, verdict(TrustResult::fatalFailure), true, reject},
      {"not evaluated", true, std::nullopt, true, reject},
      {"policy refused", false, verdict(TrustResult::unspecified), true, reject},
  };
  FakeMachine machine;
  const auto session = ZORHttpsURLSession::create();
  for (const auto& row : rows) {
    const auto trust = std::make_shared<ChosenTrust>();
    trust->usable = row.usable;
    trust->evaluation = row.evaluation;
    trust->credential = row.credential;
    EXPECT_EQ(verdictOn(*session, {AuthenticationMethod::serverTrust, trust}), row.expected)
        << row.sentence;
  }
  EXPECT_EQ(verdictOn(*session, {AuthenticationMethod::serverTrust, nullptr}), reject);
  EXPECT_EQ(verdictOn(*session, {AuthenticationMethod::other, nullptr}), byDefault);
  session->didReceiveChallenge({AuthenticationMethod::other, nullptr}, nullptr);
}

TEST(ServerTrust, IsJudgedByTheAcceptHostAlone) {
  FakeMachine machine;
  const auto session = ZORHttpsURLSession::create();
  const auto trust = std::make_shared<ChosenTrust>();
  const std::vector<std::optional<std::string>> hosts = {std::nullopt, "service.example", ""};
  for (const auto& host : hosts) {
    session->setAcceptHost(host);
    verdictOn(*session, {AuthenticationMethod::serverTrust, trust});
    ASSERT_EQ(trust->installed.size(), 1U);
    EXPECT_EQ(trust->installed[0].serverHostName, host);
  }
}

}  // namespace
}  // namespace zor
