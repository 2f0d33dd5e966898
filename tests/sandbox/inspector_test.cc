#include "sandbox/inspector/inspector.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <functional>

#include "literals/literals.h"
#include "sandbox/inspector/call_chains.h"
#include "support/json_codec.h"
#include "tests/fakes/json.h"
#include "tests/fakes/temporary_folder.h"
#include "tests/sandbox/curl_client.h"

namespace zor::sandbox {
namespace {

using testing::CurlAnswer;
using testing::CurlClient;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using testing::TemporaryFolder;
using zor::testing::json;

// The sandbox with its page, as the program puts them together.
struct WatchedSandbox {
  explicit WatchedSandbox(const std::string& folder)
      : service([&folder] {
          SandboxSettings settings;
          settings.stateFolder = folder;
          settings.bundleVersions = {{"com.example.hafen-\u00fc", "4.2b7"}};
          return settings;
        }()),
        inspector(service) {
    service.observe([this](const Received& request) { inspector.add(request); },
                    [this](const Handshake& handshake) { inspector.add(handshake); });
    problem = service.start();
    if (!problem) problem = inspector.start(folder, 0);
  }
  ~WatchedSandbox() { service.stop(); }

  SandboxService service;
  Inspector inspector;
  std::optional<std::string> problem;
};

class InspectorTest : public ::testing::Test {
 protected:
  void SetUp() override { restart(); }

  void restart() {
    _sandbox.reset();
    _sandbox.emplace(_folder.path);
    ASSERT_FALSE(_sandbox->problem) << *_sandbox->problem;
    _client.emplace(_sandbox->service);
  }

  CurlAnswer ask(const std::string& path, const std::string& method = "GET",
                 const std::string& body = "", const std::vector<std::string>& headers = {}) {
    return _client->ask(_sandbox->inspector.url() + path, method, body, headers);
  }
  ZORValue get(const std::string& path) { return json(ask(path).body); }

  // Posts the report that make_signed_request.py made.
  void report() {
    const std::string body = testing::readText(ZOR_TEST_DATA_DIR "/sandbox/signed_request.json");
    _client->post(literals::kFingerprintURL.str(), body);
  }

  TemporaryFolder _folder;
  std::optional<WatchedSandbox> _sandbox;
  std::optional<CurlClient> _client;
};

TEST_F(InspectorTest, WhatCameInIsThereAfterARestartAndTheIdentityShowsOnlyWhenAskedFor) {
  report();
  _client->get(literals::kBackupURL.str());
  restart();
  const ZORValue list = get("api/exchanges")["exchanges"];
  ASSERT_THAT(list.elements(), SizeIs(2));
  EXPECT_EQ(list[0]["route"], "backup-service");
  EXPECT_EQ(list[1]["route"], "name");
  EXPECT_EQ(list[1]["outcome"], "answered");
  const std::string path = "api/exchanges/" + jsonForDisplay(list[1]["id"]);
  const ZORValue masked = get(path);
  EXPECT_EQ(masked["signature"], "right");
  EXPECT_THAT(masked["report"].elements(), Not(SizeIs(0)));
  EXPECT_THAT(ask(path).body, Not(HasSubstr("SER-0042")));
  EXPECT_THAT(ask(path + "?reveal=1").body, HasSubstr("SER-0042"));
  const ZORValue devices = get("api/devices")["devices"];
  ASSERT_THAT(devices.elements(), SizeIs(1));
  EXPECT_EQ(devices[0]["fingerprint"], list[1]["fingerprint"]);
  EXPECT_THAT(get("api/exchanges?route=pingback")["exchanges"].elements(), SizeIs(0));
  EXPECT_THAT(get("api/exchanges?text=%25")["exchanges"].elements(), SizeIs(0));
  EXPECT_EQ(ask("api/exchanges", "DELETE").status, 200);
  restart();
  EXPECT_THAT(get("api/devices")["devices"].elements(), SizeIs(0));
}

TEST_F(InspectorTest, OnlyTheWholeAddressFromThisMachineAndNoOtherPageIsAnswered) {
  const std::string url = _sandbox->inspector.url();
  const std::string root = url.substr(0, url.find('/', 8));
  const std::string port = root.substr(root.rfind(':'));
  EXPECT_EQ(_client->ask(root + "/").status, 404);
  EXPECT_EQ(_client->ask(root + "/" + std::string(32, '0') + "/api/exchanges").status, 404);
  for (const std::string& host : {"sandbox.example" + port, std::string("127.0.0.1:1"),
                                  std::string("127.0.0.1"), "127.0.0.1.example" + port}) {
    EXPECT_EQ(ask("", "GET", "", {"Host: " + host}).status, 403) << host;
  }
  for (const std::string& origin :
       {std::string("https://sandbox.example"), std::string("null"), "https://127.0.0.1" + port,
        "http://localhost" + port, std::string("http://127.0.0.1:1")}) {
    EXPECT_EQ(ask("api/exchanges", "DELETE", "", {"Origin: " + origin}).status, 403) << origin;
  }
  CurlAnswer own = ask("", "GET", "", {"Origin: " + root});
  EXPECT_EQ(own.status, 200);
  EXPECT_THAT(own.headers["content-security-policy"], HasSubstr("default-src 'none'"));
  EXPECT_THAT(own.headers["content-security-policy"], Not(HasSubstr("unsafe")));
  EXPECT_EQ(ask("", "GET", "", {"Host: localhost" + port}).status, 200);
}

TEST_F(InspectorTest, FaultsAndSettingsAreSetAndClearedOverJson) {
  _sandbox->service.script({.route = Route::name}, {.status = 418});
  const std::string first = ask("api/faults", "POST", R"({"fault":"name*2=status:503"})").body;
  ask("api/faults", "POST", R"({"fault":"pingback=reset"})");
  report();
  const ZORValue faults = get("api/faults")["faults"];
  ASSERT_THAT(faults.elements(), SizeIs(3));
  EXPECT_EQ(faults[0]["fault"], "pingback=reset");
  EXPECT_EQ(faults[1]["usesLeft"], 1);
  EXPECT_EQ(get("api/exchanges?outcome=fault")["exchanges"][0]["fault"], "name*2=status:503");
  EXPECT_EQ(get("api/exchanges")["exchanges"][0]["status"], 503);
  const std::string one = "api/faults/" + jsonForDisplay(json(first)["id"]);
  EXPECT_EQ(ask(one, "DELETE").status, 200);
  EXPECT_EQ(ask(one, "DELETE").status, 404);
  ask("api/faults", "DELETE");
  EXPECT_THAT(get("api/faults")["faults"].elements(), SizeIs(0));
  EXPECT_EQ(ask("api/settings", "PATCH", R"({"lifetimeSeconds":7})").status, 200);
  EXPECT_EQ(_sandbox->service.settings().lifetimeSeconds, 7);
  EXPECT_EQ(_sandbox->service.settings().expirySeconds, 30 * 86400);
}

TEST_F(InspectorTest, WrongRequestsGetASentenceAndChangeNothing) {
  const struct {
    const char* method;
    const char* path;
    std::string body;
    int status;
    const char* words;
  } rows[] = {
      {"POST", "api/faults", "", 400, "JSON like"},
      {"POST", "api/faults", R"({"fault":1})", 400, "JSON like"},
      {"POST", "api/faults", R"({"fault":"name=reset","more":1})", 400, "JSON like"},
      {"POST", "api/faults", R"({"fault":"moon=reset"})", 400, "moon"},
      {"POST", "api/faults", std::string(100000, ' '), 413, "too large"},
      {"DELETE", "api/faults/99", "", 404, "99"},
      {"PATCH", "api/settings", R"({"lifetimeSeconds":1,"expirySeconds":-1})", 400,
       "expirySeconds"},
      {"PATCH", "api/settings", R"({"lifetimeSeconds":1.5})", 400, "whole number"},
      {"PATCH", "api/settings", R"({"lifetime":1})", 400, "unknown setting"},
      {"PUT", "api/settings", "{}", 405, "GET, PATCH"},
      {"GET", "api/exchanges?limit=many", "", 400, "limit"},
      {"GET", "api/exchanges?limit=1&limit=2", "", 400, "twice"},
      {"GET", "api/exchanges?colour=red", "", 400, "colour"},
      {"GET", "api/exchanges?text=%zz", "", 400, "percent"},
      {"GET", "api/exchanges?route=moon", "", 400, "route"},
      {"GET", "api/exchanges?outcome=moon", "", 400, "outcome"},
      {"GET", "api/exchanges/1", "", 404, "no exchange 1"},
      {"GET", "api/exchanges/0x1", "", 404, "nothing is served"},
      {"GET", "api/difference?from=1&to=2", "", 404, "from and to"},
      {"GET", "../exchanges.db", "", 404, "nothing is served"},
  };
  for (const auto& row : rows) {
    const CurlAnswer answer = ask(row.path, row.method, row.body);
    EXPECT_EQ(answer.status, row.status) << row.method << " " << row.path << " " << answer.body;
    EXPECT_THAT(answer.body, HasSubstr(row.words)) << row.path;
  }
  EXPECT_THAT(_sandbox->service.scripts(), SizeIs(0));
  EXPECT_EQ(_sandbox->service.settings().lifetimeSeconds, 86400);
}

TEST_F(InspectorTest, ListenersAreToldOfEachExchangeAndReturningOnesOfWhatTheyMissed) {
  report();
  std::string heard;
  // The listener's own handler reports what it waits for, in the middle of the stream.
  const auto listen = [&](const char* until, const std::vector<std::string>& headers,
                          const std::function<void()>& onState) {
    heard.clear();
    bool reported = false;
    _client->listen(_sandbox->inspector.url() + "api/events", headers,
                    [&](const std::string& part) {
                      heard += part;
                      if (!reported && heard.find("event: state") != std::string::npos) {
                        reported = true;
                        onState();
                      }
                      return heard.find(until) == std::string::npos;
                    });
  };
  listen("backup-service\",", {},
         [this] { CurlClient(_sandbox->service).get(literals::kBackupURL.str()); });
  EXPECT_THAT(heard, HasSubstr("event: exchange\nid: "));
  EXPECT_THAT(heard, Not(HasSubstr("POST")));
  listen("backup-service\",", {"Last-Event-ID: 1"}, [] {});
  EXPECT_THAT(heard, HasSubstr("POST"));
}

TEST_F(InspectorTest, ReportsOfADeviceAreComparedAndFailureRecordsListed) {
  Received request;
  request.route = Route::name;
  const auto reportOf = [&](const char* model, const char* serial) {
    request.details =
        ZORValue::dictionary({{"report", ZORValue::dictionary({{"modelName", model}, {"same", 1}})},
                              {"identity", ZORValue::dictionary({{"hardwareSerial", serial}})},
                              {"fingerprint", "f1"}});
    _sandbox->inspector.add(request);
  };
  reportOf("old", "S1");
  reportOf("new", "S2");
  const ZORValue changes = get("api/difference?from=1&to=2")["changes"];
  ASSERT_THAT(changes.elements(), SizeIs(2));
  EXPECT_EQ(changes[0]["before"], "old");
  EXPECT_EQ(changes[0]["after"], "new");
  EXPECT_EQ(changes[1]["key"], "hardwareSerial");
  EXPECT_THAT(ask("api/difference?from=1&to=2").body, Not(HasSubstr("S2")));
  EXPECT_EQ(get("api/difference?from=1&to=2&reveal=1")["changes"][1]["after"], "S2");

  request.route = Route::pingback;
  request.details = ZORValue::dictionary(
      {{"records", ZORValue::array({ZORValue::dictionary({{"pbErrorType", "\xff<b>"}})})}});
  _sandbox->inspector.add(request);
  const ZORValue records = get("api/records")["records"];
  ASSERT_THAT(records.elements(), SizeIs(1));
  EXPECT_EQ(records[0]["type"], "\uFFFD<b>");
}

TEST_F(InspectorTest, LogIsTheOwnersAloneAndAForeignFileIsNamedAndLeftAsItIs) {
  struct stat status {};
  ASSERT_EQ(::stat(_folder.file("exchanges.db").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  const TemporaryFolder other;
  testing::writeText(other.file("exchanges.db"), std::string(5000, 'x'));
  EXPECT_THAT(WatchedSandbox(other.path).problem.value_or(""),
              HasSubstr(other.file("exchanges.db")));
  EXPECT_EQ(testing::readText(other.file("exchanges.db")), std::string(5000, 'x'));
}

TEST(CallChains, TriesOfOneCallAreKeptTogether) {
  std::int64_t id = 0;
  std::vector<ChainEvent> events;
  const auto add = [&](Route route, bool isHandshake, bool succeeded, std::int64_t timeMs,
                       std::int64_t connection) {
    events.push_back({.id = ++id,
                      .run = 1,
                      .connection = connection,
                      .timeMs = timeMs,
                      .route = route,
                      .isHandshake = isHandshake,
                      .succeeded = succeeded});
  };
  add(Route::name, true, false, 0, 1);
  add(Route::name, true, true, 100, 2);
  add(Route::backupService, false, true, 105, 5);  // Beside the try, as clients fetch it.
  add(Route::name, false, false, 110, 2);
  add(Route::bootstrap, false, true, 3000, 3);
  add(Route::address, false, true, 3100, 4);
  add(Route::name, false, true, 3300, 6);
  add(Route::pingback, false, true, 3310, 6);
  add(Route::name, false, false, 3400, 6);
  add(Route::name, false, false, 3500, 6);
  add(Route::name, false, false, 200'000, 6);
  std::vector<std::size_t> tries;
  for (const CallChain& call : callChains(events)) tries.push_back(call.tries.size());
  EXPECT_THAT(tries, ElementsAre(5, 1, 2, 1));
  const CallChain first = callChains(events).front();
  EXPECT_TRUE(first.succeeded);
  EXPECT_EQ(first.tries[1].timeMs, 100);
  EXPECT_EQ(first.tries[1].endMs, 3000);
  EXPECT_EQ(first.tries[1].id, 4);
}

}  // namespace
}  // namespace zor::sandbox
