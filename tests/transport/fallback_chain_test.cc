// The whole chain over TLS, checked by what the services received.
#include <gtest/gtest.h>
#include <stdlib.h>

#include "literals/literals.h"
#include "pingback/ZORSecPingbackStore.h"
#include "platform/operation_queue.h"
#include "sandbox/sandbox_service.h"
#include "support/text.h"
#include "tests/fakes/eventually.h"
#include "tests/fakes/fake_ports.h"
#include "tests/fakes/real_network.h"
#include "transport/ZORDing.h"

namespace zor {
namespace {

using sandbox::Certificate;
using sandbox::Ending;
using sandbox::Route;
using sandbox::SandboxService;
using sandbox::Script;

constexpr char kServiceHost[] = "fingerprint.localhost";
constexpr char kServiceAddress[] = "127.53.21.1";
constexpr char kBackupAddress[] = "127.53.30.1";
constexpr char kBackupKey[] = "com.tidewater.dfpo08cefd3";
constexpr int kUntrusted = static_cast<int>(URLErrorCode::serverCertificateUntrusted);

struct HandlerCall {
  bool arrived = false;
  int status = 0;  // 0: no response.
  std::int64_t error = 0;
};

// A fake machine with a real network, on which the sandbox is every service.
using Counts = std::vector<std::size_t>;

class FallbackChain : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto problem = service.start();
    ASSERT_FALSE(problem.has_value()) << *problem;
    ::setenv("SSL_CERT_FILE", service.caFile().c_str(), 1);
    startOver();
  }
  void TearDown() override { ::unsetenv("SSL_CERT_FILE"); }

  // Every route answers, and nothing was received. The backup list that is fetched beside each
  // request changes nothing, whenever it arrives.
  void startOver() {
    service.closeConnections();
    service.clearReceived();
    service.clearScripts();
    for (const Route route : {Route::name, Route::address, Route::backupAddress}) {
      service.script({.route = route}, {.status = 200, .body = "answer"});
    }
    service.script({.route = Route::backupService}, {.status = 200, .body = "[]"});
  }

  // A new runner whose connections are redirected by `connectTo` first.
  struct Library {
    explicit Library(std::vector<std::string> connectTo) : network(std::move(connectTo)) {}

    const testing::RealNetwork network;
    const std::shared_ptr<ZORDing> runner = ZORDing::create();
  };

  std::vector<std::string> connectTo(std::vector<std::string> first) {
    const auto all = service.connectTo();
    first.insert(first.end(), all.begin(), all.end());
    return first;
  }

  HandlerCall perform(const std::vector<std::string>& connectFirst = {}) {
    const Library library(connectTo(connectFirst));
    return perform(*library.runner);
  }

  HandlerCall perform(ZORDing& runner) {
    URLRequest request;
    request.url = literals::kFingerprintURL.str();
    request.method = "POST";
    request.body = utf8Bytes("secret");
    request.timeoutSeconds = 20;
    if (totalTime) request.deadline = std::chrono::steady_clock::now() + *totalTime;
    HandlerCall outcome;
    runner.performRequest(request, [&](const auto&, const auto& response, const auto& error) {
      const MutexLock lock(mutex);
      EXPECT_FALSE(outcome.arrived);
      outcome.arrived = true;
      outcome.status = response ? response->statusCode : 0;
      outcome.error = error ? error->code : 0;
      done.notifyAll();
    });
    const MutexLock lock(mutex);
    while (!outcome.arrived) done.wait(mutex);
    return outcome;
  }

  void keepBackupAddress() {
    machine.defaults.setObject(kBackupKey, std::string(R"({"backuplist":{"pool":[{"ip":[")") +
                                               kBackupAddress + R"("]}]}})");
  }

  // How many requests reached the service by each route of the chain.
  std::vector<std::size_t> received() {
    std::vector<std::size_t> counts;
    for (const Route route :
         {Route::name, Route::bootstrap, Route::query, Route::address, Route::backupAddress}) {
      counts.push_back(service.received(route).size());
    }
    return counts;
  }

  std::optional<std::chrono::milliseconds> totalTime;
  SandboxService service;
  testing::FakeMachine machine;
  Mutex mutex;
  ConditionVariable done;
};

TEST_F(FallbackChain, ADeadNameLeadsToAnAddressFromHttpDns) {
  const struct {
    const char* sentence;
    std::vector<std::string> connectTo;
    Script script;
    std::size_t byName;
  } rows[] = {
      {"unresolvable", {"fingerprint.localhost:8443:nowhere.invalid:8443"}, {}, 0},
      {"refusing", {"fingerprint.localhost:8443:127.0.0.1:1"}, {}, 0},
      {"resetting", {}, {.ending = Ending::resetHandshake}, 0},
      {"for another name", {}, {.certificate = Certificate::wrongName}, 0},
      {"of an attacker", {}, {.certificate = Certificate::attacker}, 0},
      {"expired", {}, {.certificate = Certificate::expired}, 0},
      {"signed by itself", {}, {.certificate = Certificate::selfSigned}, 0},
      {"of an unknown root", {}, {.certificate = Certificate::unknownRoot}, 0},
      {"answering 500", {}, {.status = 500}, 2},
  };
  for (const auto& row : rows) {
    startOver();
    service.script({.route = Route::name}, row.script);
    const HandlerCall outcome = perform(row.connectTo);
    EXPECT_EQ(outcome.status, 200) << row.sentence;
    EXPECT_EQ(received(), (Counts{row.byName, 1, 1, 1, 0})) << row.sentence;
    const auto byAddress = service.received(Route::address);
    ASSERT_EQ(byAddress.size(), 1U) << row.sentence;
    EXPECT_EQ(byAddress[0].host, std::string(kServiceAddress) + ":8443") << row.sentence;
    EXPECT_EQ(byAddress[0].body, "secret") << row.sentence;
  }
}

TEST_F(FallbackChain, TheTotalTimeEndsTheChainWhereverItIs) {
  const struct {
    Route silent;
    Counts received;
  } kRows[] = {
      {Route::name, {1, 0, 0, 0, 0}},
      {Route::bootstrap, {2, 1, 0, 0, 0}},
      {Route::address, {2, 1, 1, 1, 0}},
  };
  keepBackupAddress();
  totalTime = std::chrono::milliseconds(400);
  for (const auto& row : kRows) {
    startOver();
    service.script({.route = Route::name}, {.status = 500});
    service.script({.route = row.silent}, {.ending = Ending::hang});
    EXPECT_EQ(perform().error, ZOR_FINGERPRINT_ERROR_TOTAL_TIME);
    EXPECT_EQ(received(), row.received) << &row - kRows;
  }
}

TEST_F(FallbackChain, ABackupAddressIsUsedWhetherHttpDnsHelpedOrNot) {
  keepBackupAddress();
  service.script({.route = Route::name}, {.status = 500});
  EXPECT_EQ(perform().status, 200);
  EXPECT_EQ(received(), (Counts{2, 1, 1, 1, 1}));

  service.clearReceived();
  service.script({.route = Route::bootstrap}, {.status = 500});
  EXPECT_EQ(perform().status, 200);
  EXPECT_EQ(received(), (Counts{2, 3, 0, 0, 1}));
}

TEST_F(FallbackChain, NoBodyReachesAnAddressWithoutACertificateForTheHost) {
  const Script rows[] = {
      {.certificate = Certificate::wrongName},
      {.certificate = Certificate::attacker},
      {.certificate = Certificate::expired},
      {.certificate = Certificate::unknownRoot},
      // The request did not name these addresses as hosts.
      {.certificateNames = {kServiceAddress, kBackupAddress}},
      {.certificateNames = {"backup.localhost"}},
  };
  keepBackupAddress();
  for (const Script& row : rows) {
    startOver();
    service.script({.route = Route::name}, {.status = 500});
    service.script({.address = kServiceAddress}, row);
    service.script({.address = kBackupAddress}, row);
    EXPECT_EQ(perform().error, kUntrusted);
    EXPECT_EQ(received(), (Counts{2, 1, 1, 0, 0}));
    for (const char* address : {kServiceAddress, kBackupAddress}) {
      // The service may learn of a refusal after the chain has ended.
      EXPECT_TRUE(service.waitForConnections(address, 2));
      const auto counts = service.counts(address);
      EXPECT_EQ(counts.connections, 2U);
      EXPECT_EQ(counts.requestBytes, 0U);
    }
  }
}

TEST_F(FallbackChain, HttpDnsIsJudgedByItsChainAlone) {
  service.script({.route = Route::name}, {.status = 500});
  for (const char* address : {"127.53.10.101", "127.53.20.1"}) {
    service.script({.address = address}, {.certificate = Certificate::wrongName});
  }
  EXPECT_EQ(perform().status, 200);
  startOver();
  service.script({.route = Route::name}, {.status = 500});
  service.script({.address = "127.53.10.101"}, {.certificate = Certificate::unknownRoot});
  EXPECT_EQ(perform().error, kUntrusted);
  EXPECT_EQ(received(), (Counts{2, 0, 0, 0, 0}));
}

TEST_F(FallbackChain, ABackupListFetchedByAddressIsJudgedByTheHostOfTheRunnersOwnRequests) {
  const struct {
    const char* certificateName;
    const char* end;  // The record of the failure, or the list.
  } rows[] = {{"backup.localhost", "backup_ip_error"}, {kServiceHost, kBackupAddress}};
  for (const auto& row : rows) {
    startOver();
    service.script({.route = Route::backupService, .address = "127.0.0.1"}, {.status = 500});
    const std::string list =
        std::string(R"([{"code":"accept","lists":")") + kBackupAddress + R"("}])";
    service.script({.route = Route::backupService, .address = kServiceAddress},
                   {.status = 200, .body = list});
    service.script({.address = kServiceAddress}, {.certificateNames = {row.certificateName}});
    const Library library(connectTo({}));
    EXPECT_EQ(perform(*library.runner).status, 200);
    std::string end;
    EXPECT_TRUE(testing::eventually([&] {
      const auto kept = machine.defaults.objectForKey(kBackupKey);
      end = GetPingbackStore()->readStr().content().value_or("") + (kept ? *kept->text() : "");
      return end.find(row.end) != std::string::npos;
    }));
    EXPECT_EQ(end.find(kBackupAddress) != std::string::npos, row.certificateName == kServiceHost);
  }
}

TEST_F(FallbackChain, AnswersThatAreNotAddressesEndAsFailuresAndLeadNowhere) {
  service.script({.route = Route::name}, {.status = 500});
  for (const char* text : {"127.53.21.1/x?", "u@127.53.21.1", "127.53.21.1#", "127.53.21.1:8443/",
                           "127.53.21.1 x", ","}) {
    service.clearReceived();
    service.script({.route = Route::query}, {.answerHeader = text});
    EXPECT_EQ(perform().error, static_cast<int>(URLErrorCode::badURL)) << text;
    EXPECT_EQ(received(), (Counts{2, 1, 1, 0, 0})) << text;
    EXPECT_TRUE(service.received(Route::unknown).empty()) << text;
  }
  std::string large = kServiceAddress;
  while (large.size() < (64U << 10)) large += std::string(",") + kServiceAddress;
  service.script({.route = Route::query}, {.answerHeader = large});
  EXPECT_EQ(perform().status, 200);
}

}  // namespace
}  // namespace zor
