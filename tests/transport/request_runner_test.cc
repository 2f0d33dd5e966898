#include <gtest/gtest.h>

#include "support/text.h"
#include "tests/transport/scripted_network.h"
#include "transport/ZORDing.h"

namespace zor {
namespace {

using testing::Answer;
using testing::Outcomes;
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
    request.body = utf8Bytes("report");
  }

  void keepBackup(const std::string& addresses) {
    network.machine.defaults.setObject("com.tidewater.dfpo08cefd3",
                                       R"({"backuplist":{"pool":[{"ip":[)" + addresses + "]}]}}");
  }

  // Sends the request and waits for the end of everything; the handler's one call.
  Answer perform() {
    Outcomes outcomes;
    runner->performRequest(request, outcomes.handler());
    ScriptedNetwork::drain();
    EXPECT_EQ(outcomes.answers.size(), 1U);
    return outcomes.answers.empty() ? Answer{} : outcomes.answers[0];
  }

  static std::string bodyOf(const Answer& answer) {
    return answer.body ? textFromUtf8(*answer.body).value_or("?") : "none";
  }

  // The chain's own requests: the backup list's look-up of its service is left out.
  Urls route() {
    Urls route;
    for (const std::string& url : network.urls()) {
      if (url.find("backup") == std::string::npos) route.push_back(url);
    }
    return route;
  }

  // The failure of the backup list's service is not what these tests are about.
  ScriptedNetwork network;
  URLRequest request;
  std::shared_ptr<ZORDing> runner = ZORDing::create();
};

TEST_F(RequestRunner, AnAnswerByNameIsFinalAndTheBackupListIsStillFetched) {
  network.set(kByName, ScriptedURLLoading::status(200, "by name"));
  network.set(literals::kBackupURL.str(), ScriptedURLLoading::status(200, "[]"));
  keepBackup(R"("10.9.9.9")");
  EXPECT_EQ(bodyOf(perform()), "by name");
  EXPECT_EQ(network.urls(), Urls{kByName});
  EXPECT_EQ(network.machine.urlLoading.requests().size(), 2U);
  EXPECT_TRUE(network.failures().empty());
}

}  // namespace
}  // namespace zor
