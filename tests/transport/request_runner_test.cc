#include <gtest/gtest.h>

#include "support/text.h"
#include "tests/transport/scripted_network.h"
#include "transport/ZORDing.h"

namespace zor {
namespace {

using testing::Answer;
using testing::CompletionsHeld;
using testing::HandlerCalls;
using testing::ScriptedNetwork;
using testing::ScriptedURLLoading;
using Urls = std::vector<std::string>;

constexpr char kByName[] = "https://fp.example:8443/sign?x=1";
constexpr char kByDns[] = "https://10.0.0.1:8443/sign?x=1";
constexpr char kByBackup[] = "https://10.9.9.9:8443/sign?x=1";
constexpr char kBootstrap[] = "https://192.0.2.1:8443/resolve?dns=dns.example";
constexpr char kQuery[] = "https://198.51.100.1/q?h=fp.example";

class RequestRunner : public ::testing::Test {
 protected:
  RequestRunner() {
    request.url = kByName;
    request.method = "POST";
    request.headers = {{"Name", "value"}};
    request.body = utf8Bytes("report");
    network.set(literals::kBackupURL.str(), ScriptedURLLoading::status(200, "[]"));
  }

  void keepBackup(const std::string& addresses) {
    network.machine.defaults.setObject("com.tidewater.dfpo08cefd3",
                                       R"({"backuplist":{"pool":[{"ip":[)" + addresses + "]}]}}");
  }

  // Sends the request and waits for the end of everything. Nothing is answered before the call has
  // returned, so a hook may release the runner.
  void start(HandlerCalls& outcomes) {
    {
      const CompletionsHeld held;
      runner->performRequest(request, outcomes.handler());
    }
    ScriptedNetwork::drain();
  }

  // The handler's one call.
  Answer perform() {
    HandlerCalls outcomes;
    start(outcomes);
    EXPECT_EQ(outcomes.answers.size(), 1U);
    return outcomes.answers.empty() ? Answer{} : outcomes.answers[0];
  }

  static std::string bodyOf(const Answer& answer) {
    return answer.body ? textFromUtf8(*answer.body).value_or("?") : "none";
  }

  ScriptedNetwork network;
  URLRequest request;
  std::shared_ptr<ZORDing> runner = ZORDing::create();
};

TEST_F(RequestRunner, AnAnswerByNameIsFinalAndTheBackupListIsStillFetched) {
  network.set(kByName, ScriptedURLLoading::status(200, "by name"));
  keepBackup(R"("10.9.9.9")");
  EXPECT_EQ(bodyOf(perform()), "by name");
  EXPECT_EQ(network.urls(), Urls{kByName});
  EXPECT_EQ(network.machine.urlLoading.requests().size(), 2U);
  EXPECT_TRUE(network.failures().empty());
}

TEST_F(RequestRunner, ABackupAddressTakesPrecedenceOverASuccessByHttpDns) {
  network.resolve("fp.example", "10.0.0.1");
  network.set(kByDns, ScriptedURLLoading::status(200, "by dns"));
  network.set(kByBackup, ScriptedURLLoading::status(500, "by backup"));
  keepBackup(R"("10.9.9.9")");
  const Answer answer = perform();
  EXPECT_EQ(bodyOf(answer), "by backup");
  EXPECT_EQ(answer.response->statusCode, 500);
  EXPECT_EQ(network.urls(),
            (Urls{kByName, kByName, kBootstrap, kQuery, kByDns, kByBackup, kByBackup}));
}

TEST_F(RequestRunner, WithoutABackupAddressTheHttpDnsAttemptIsFinal) {
  network.resolve("fp.example", "10.0.0.7,10.0.0.1,10.0.0.8");
  network.machine.random.next({0, 4});  // The service's address, then the fifth of three.
  network.set(kByDns, ScriptedURLLoading::status(404, "by dns"));
  EXPECT_EQ(bodyOf(perform()), "by dns");
  EXPECT_EQ(network.urls(), (Urls{kByName, kByName, kBootstrap, kQuery, kByDns, kByDns}));
  for (const URLRequest& sent : network.machine.urlLoading.requests()) {
    if (sent.url != kByDns) continue;
    EXPECT_EQ(sent.method, "POST");
    EXPECT_EQ(sent.headers, request.headers);  // No header for the host: it follows the URL.
    EXPECT_EQ(sent.body, request.body);
  }
}

TEST_F(RequestRunner, WithoutAnyAddressTheFirstAnswerComesWithTheResolversError) {
  network.set(kByName, ScriptedURLLoading::status(503, "by name"));
  network.resolve("fp.example", "");
  const Answer answer = perform();
  EXPECT_EQ(bodyOf(answer), "by name");
  EXPECT_EQ(answer.response->statusCode, 503);
  ASSERT_TRUE(answer.error.has_value());
  EXPECT_EQ(answer.error->code, -71003);
}

TEST_F(RequestRunner, OnlyTheFirstRoutesFailureIsReported) {
  network.resolve("fp.example", "10.0.0.1");
  perform();
  network.set(kByName, ScriptedURLLoading::status(503));
  perform();
  const std::string type = "request_error";
  EXPECT_EQ(network.failures(),
            (std::vector<std::pair<std::string, std::string>>{
                {type,
                 "status:0 domain:NSURLErrorDomain code:-1004 text:No route "
                 "hostname:fp.example"},
                {type, "status:503 domain:(null) code:0 text:(null) hostname:fp.example"}}));
}

TEST_F(RequestRunner, CertificatesMustMatchTheHostOfTheRequestWhateverTheRoute) {
  network.resolve("fp.example", "10.0.0.1");
  perform();
  EXPECT_EQ(runner->urlSession()->acceptHost(), "fp.example");
  EXPECT_EQ(runner->backupUrlSession()->acceptHost(), "backup.localhost");
  request.url = "no URL";
  perform();
  EXPECT_EQ(runner->urlSession()->acceptHost(), "");  // Absent would accept every host.
}

TEST_F(RequestRunner, ARunnerThatIsGoneSendsNothingMore) {
  network.resolve("fp.example", "10.0.0.1");
  network.onRequest([this](const std::string& url) {
    if (url == kQuery) runner.reset();
  });
  HandlerCalls outcomes;
  start(outcomes);
  EXPECT_EQ(network.urls(), (Urls{kByName, kByName, kBootstrap, kQuery}));
  EXPECT_TRUE(outcomes.answers.empty());
}

TEST_F(RequestRunner, WithoutItsRunnerAChainEndsWithTheValuesAtHand) {
  keepBackup(R"("10.9.9.9")");
  network.set(kByDns, ScriptedURLLoading::status(200, "by dns"));
  std::string last = kBootstrap;
  network.onRequest([&](const std::string& url) {
    if (url == last) runner.reset();
  });
  EXPECT_EQ(perform().error->code, -1004);  // The resolver failed; no backup address is looked up.

  network.resolve("fp.example", "10.0.0.1");
  runner = ZORDing::create();
  last = kByDns;
  EXPECT_EQ(bodyOf(perform()), "by dns");
}

}  // namespace
}  // namespace zor
