#include "transport/backup_list.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/text.h"
#include "tests/transport/scripted_network.h"
#include "transport/ZORDing.h"

namespace zor {
namespace {

using testing::ScriptedNetwork;
using testing::ScriptedURLLoading;

constexpr char kKey[] = "com.tidewater.dfpo08cefd3";
constexpr char kHost[] = "backup.localhost";
constexpr char kByAddress[] = "https://10.3.3.3:8443/security/dfp/backup_addresses?clients=all";

class BackupList : public ::testing::Test {
 protected:
  void keep(const ZORValue& value) { network.machine.defaults.setObject(kKey, value); }
  std::string kept() {
    const auto value = network.machine.defaults.objectForKey(kKey);
    return value ? *value->text() : "nothing";
  }
  // A document of those entries.
  static std::string document(const std::string& entries) {
    return R"({"backuplist":{"pool":[)" + entries + "]}}";
  }
  std::optional<std::string> choose(std::uint32_t random) {
    network.machine.random.next({random});
    return runner->randomBackupIP();
  }
  void fetch() {
    runner->requestBackupIp();
    ScriptedNetwork::drain();
  }

  ScriptedNetwork network;
  std::shared_ptr<ZORDing> runner = ZORDing::create();
};

TEST_F(BackupList, OnlyAnAcceptedAnswerChangesWhatIsKept) {
  const std::string deep = std::string(600, '[') + std::string(600, ']');
  const struct {
    std::string body;
    const char* kept;
  } rows[] = {
      {R"([{"code":"accept","lists":"new"}])", "new"},
      {R"([{"code":"accept","lists":"new"},{"code":"refuse"}])", "new"},
      {R"([{"code":"accept","lists":""}])", "nothing"},
      {R"([{"code":"accept"}])", "nothing"},
      {R"([{"code":"accept","lists":null}])", "nothing"},
      // Damaged answers leave the kept list alone.
      {R"([{"code":"accept","lists":{"a":1}}])", "old"},
      {R"([{"code":"accept","lists":7}])", "old"},
      {R"([{"code":"accept ","lists":"new"}])", "old"},
      {R"([{"code":0,"lists":"new"}])", "old"},
      {R"([{"lists":"new"}])", "old"},
      {R"({"code":"accept","lists":"new"})", "old"},
      {R"([["code","accept"]])", "old"},
      {R"([null,{"code":"accept","lists":"new"}])", "old"},
      {"[]", "old"},
      {"\"accept\"", "old"},
      {"", "old"},
      {"[{\"code\":\"accept\",\"lists\":\"\xFF\"}]", "old"},
      {deep, "old"},
      {R"([{"code":"accept","lists":")" + std::string(kMaxBackupDocumentBytes + 1, 'a') + "\"}]",
       "old"},
  };
  for (const auto& row : rows) {
    keep("old");
    runner->saveCloudBackup(utf8Bytes(row.body));
    EXPECT_EQ(kept(), row.kept) << row.body;
  }
  keep("old");
  runner->saveCloudBackup(std::nullopt);
  EXPECT_EQ(kept(), "old");
}

TEST_F(BackupList, JoinsAllListsInOrderAndLeavesOutWhatIsNotAnAddress) {
  keep(document(R"({"ip":["10.0.0.1",7,"::1",null,"","a.example","10.0.0.1:8443"]},{},{"ip":[]},3,)"
                R"({"ip":"10.0.0.9"},{"ip":["10.0.0.3","10.0.0.1"]})"));
  const std::vector<std::string> addresses = {"10.0.0.1", "::1", "10.0.0.3", "10.0.0.1"};
  for (std::uint32_t random = 0; random < 8; ++random) {
    EXPECT_EQ(choose(random), addresses[random % 4]);
  }
}

TEST_F(BackupList, ADocumentOfAnotherShapeHoldsNothingAndIsReadAgain) {
  for (const std::string& text :
       {std::string(), std::string("{"), std::string("[1]"), std::string("7"),
        std::string(R"({"backuplist":[]})"), std::string(R"({"backuplist":{"pool":{}}})"),
        std::string(R"({"backuplist":{"pool":"ip"}})"), document(R"({"ip":[]},{"ip":{}})"),
        document(R"({"ip":["10.0.0.1"]})") + std::string(kMaxBackupDocumentBytes, ' '),
        std::string(60000, '[')}) {
    keep(text);
    EXPECT_EQ(choose(0), std::nullopt) << text.substr(0, 60);
  }
  keep(12.5);
  EXPECT_EQ(choose(0), std::nullopt);
  keep(document(R"({"ip":["10.0.0.1"]})"));
  EXPECT_EQ(choose(0), "10.0.0.1");
}

TEST_F(BackupList, AListInUseStaysInUse) {
  std::string many = R"({"ip":["10.0.0.0")";
  for (int index = 1; index < 4000; ++index) {
    many += R"(,"10.0.)" + std::to_string(index / 250) + "." + std::to_string(index % 250) + "\"";
  }
  keep(document(many + "]}"));
  EXPECT_EQ(choose(3999), "10.0.15.249");
  runner->saveCloudBackup(utf8Bytes(R"([{"code":"accept","lists":""}])"));
  EXPECT_EQ(kept(), "nothing");
  EXPECT_EQ(choose(4001), "10.0.0.1");
  EXPECT_EQ(ZORDing::create()->randomBackupIP(), std::nullopt);
}

TEST_F(BackupList, IsLoadedByManyThreadsAtOnce) {
  keep(document(R"({"ip":["10.0.0.1","10.0.0.2"]})"));
  std::atomic<int> found{0};
  std::vector<std::thread> threads;
  for (int index = 0; index < 8; ++index) {
    threads.emplace_back([&] { found += runner->randomBackupIP().has_value() ? 1 : 0; });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, 8);
}

TEST_F(BackupList, IsFetchedByAddressIfTheNameFailsAndNothingIsReported) {
  network.resolve(kHost, "10.3.3.3");
  network.set(kByAddress, ScriptedURLLoading::status(200, R"([{"code":"accept","lists":"new"}])"));
  fetch();
  EXPECT_EQ(kept(), "new");
  EXPECT_TRUE(network.failures().empty());
  EXPECT_EQ(network.machine.urlLoading.requests().size(), 5U);
}

TEST_F(BackupList, AFetchThatFailsByEveryRouteIsReportedOnce) {
  keep("old");
  network.resolve(kHost, "10.3.3.3");
  network.set(kByAddress, ScriptedURLLoading::status(500));
  fetch();
  network.resolve("other", "");
  network.set(ScriptedNetwork::queryUrl(kHost), ScriptedURLLoading::status(200));
  const ScopedHTTPDNSManager fresh(
      ZORHTTPDNSManager::create(ZORHttpDnsConfig("dns.example", {"192.0.2.1"})));
  fetch();
  EXPECT_EQ(network.failures(),
            (std::vector<std::pair<std::string, std::string>>{
                {"backup_ip_error", "domain:(null) code:0 text:(null) host:backup.localhost"},
                {"backup_dns_fail",
                 "domain:ZORHTTPDNSResults code:-71003 text:nil name:backup.localhost"}}));
  EXPECT_EQ(kept(), "old");
}

}  // namespace
}  // namespace zor
