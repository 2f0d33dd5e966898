#include "sandbox/sandbox_service.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "literals/literals.h"
#include "tests/fakes/json.h"
#include "tests/sandbox/curl_client.h"

namespace zor::sandbox {
namespace {

using testing::CurlAnswer;
using testing::CurlClient;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using zor::testing::json;

// Made by make_signed_request.py; its host has bundle version "4.2b7", which is in no report.
std::string signedRequest() {
  std::ifstream file(ZOR_TEST_DATA_DIR "/sandbox/signed_request.json");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string withAddress(std::string format, const std::string& address, const std::string& host) {
  format.replace(format.find("%@"), 2, address);
  return format.replace(format.find("%@"), 2, host);
}

class SandboxServiceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto problem = _service.start();
    ASSERT_FALSE(problem) << *problem;
    _client.emplace(_service);
  }

  CurlAnswer postReport(const std::string& body) { return _client->post(_url, body); }

  static ZORValue dataOf(const CurlAnswer& answer) {
    return json(answer.body)[literals::kAnswerDataKey.view()];
  }

  static SandboxSettings portForEachHost() {
    SandboxSettings settings;
    settings.portForEachHost = true;
    return settings;
  }

  void expectRoutesToldApart(SandboxService& service) {
    CurlClient client(service);
    const std::string query =
        withAddress(literals::kHttpDnsQueryFormat.str(), "127.53.20.1", "a.b");
    const std::string bootstrap = withAddress(literals::kHttpDnsBootstrapFormat.str(),
                                              "127.153.110.104", literals::kHttpDnsHost.str());
    const std::string answerHeader = "x-zor-answer";
    EXPECT_EQ(client.get(bootstrap, false).headers[answerHeader], "127.53.20.1");
    EXPECT_EQ(client.get(query, false).headers[answerHeader], "127.53.21.1,127.53.21.2");
    client.post("https://127.53.21.2:8443/security/dfp/sign_json", signedRequest(), false);
    const CurlAnswer list = client.get(literals::kBackupURL.str());
    EXPECT_EQ(json(list.body)[0]["code"], "accept");
    EXPECT_THAT(*json(list.body)[0]["lists"].text(), HasSubstr("127.53.30.2"));
    client.post("https://127.53.30.1:8443/security/dfp/sign_json", signedRequest(), false);
    client.post(_url, signedRequest());

    std::vector<Route> routes;
    for (const Received& entry : service.received()) routes.push_back(entry.route);
    EXPECT_EQ(routes,
              (std::vector<Route>{Route::bootstrap, Route::query, Route::address,
                                  Route::backupService, Route::backupAddress, Route::name}));
    EXPECT_EQ(service.received().back().serverName, "fingerprint.localhost");
  }

  const std::string _url = literals::kFingerprintURL.str();
  SandboxService _service;
  std::optional<CurlClient> _client;
};

TEST_F(SandboxServiceTest, FingerprintFollowsTheSealedIdentityWhenTheBundleVersionIsKnown) {
  postReport(signedRequest());
  EXPECT_THAT(_service.received().back().verdict, HasSubstr("identity does not open"));

  _service.changeSettings([](SandboxSettings& settings) {
    settings.bundleVersions = {{"com.example.hafen-\u00fc", "4.2b7"}};
    settings.lifetimeSeconds = 77;
    settings.expirySeconds = 5;
    settings.now = [] { return std::chrono::system_clock::time_point(std::chrono::seconds(100)); };
  });
  const ZORValue data = dataOf(postReport(signedRequest()));
  const Received entry = _service.received().back();
  EXPECT_EQ(entry.details["identity"][literals::kSealedSerialNumberKey.view()], "SER-0042");
  EXPECT_EQ(data[literals::kAnswerExpiryKey.view()], 105000);
  EXPECT_EQ(data[literals::kAnswerLifetimeKey.view()], 77);
  EXPECT_NE(data[literals::kAnswerFingerprintKey.view()],
            _service.received().front().details["fingerprint"]);
}

TEST_F(SandboxServiceTest, ChangedReportOrLabelIsRefused) {
  ZORValue changedReport = json(signedRequest());
  changedReport.set(literals::kBodyEnvironmentKey.view(), "e30=");
  ZORValue changedLabel = json(signedRequest());
  changedLabel.set(literals::kBodyPlatformKey.view(), "linux ");
  for (const ZORValue& body : {changedReport, changedLabel}) {
    const CurlAnswer answer = postReport(jsonForDisplay(body));
    EXPECT_NE(json(answer.body)[literals::kAnswerStatusKey.view()], 0);
    EXPECT_THAT(answer.body, HasSubstr("signature"));
  }
  EXPECT_EQ(postReport("[]").status, 400);
}

TEST_F(SandboxServiceTest, WrongCertificatesAreRefusedByClientsBeforeAnyRequestByte) {
  for (const Certificate kind :
       {Certificate::wrongName, Certificate::attacker, Certificate::expired,
        Certificate::notYetValid, Certificate::selfSigned, Certificate::unknownRoot}) {
    _service.script({.route = Route::name}, {.certificate = kind}, 1);
    EXPECT_EQ(postReport(signedRequest()).code, CURLE_PEER_FAILED_VERIFICATION)
        << certificateName(kind);
  }
  // Valid chains for other names, which differ from the right one only in the name.
  for (const Certificate kind : {Certificate::wrongName, Certificate::attacker}) {
    _service.script({.route = Route::name}, {.certificate = kind}, 1);
    EXPECT_EQ(_client->get(_url, false).code, CURLE_OK) << certificateName(kind);
  }
  _service.clearReceived();
  _service.script({.route = Route::name}, {.certificate = Certificate::expired}, 1);
  postReport(signedRequest());
  ASSERT_TRUE(_service.waitForConnections("127.0.0.1", 1));
  EXPECT_FALSE(_service.handshakes().front().accepted);
  EXPECT_EQ(_service.counts("127.0.0.1").requestBytes, 0U);
  EXPECT_EQ(postReport(signedRequest()).status, 200);
}

TEST_F(SandboxServiceTest, CertificateNamesHoldNamesAndAddresses) {
  const std::string byAddress = "https://127.53.21.1:8443/";
  EXPECT_EQ(_client->get(byAddress).code, CURLE_PEER_FAILED_VERIFICATION);
  _service.script({.address = "127.53.21.1"}, {.certificateNames = {"a.localhost", "127.53.21.1"}});
  EXPECT_EQ(_client->get(byAddress).status, 404);
}

TEST_F(SandboxServiceTest, ScriptsEndExchangesTheirWayAndAreUsedUp) {
  const std::vector<std::pair<Script, CURLcode>> endings = {
      {{.ending = Ending::cutBody}, CURLE_PARTIAL_FILE},
      {{.ending = Ending::reset}, CURLE_RECV_ERROR},
      {{.ending = Ending::hang}, CURLE_OPERATION_TIMEDOUT},
      {{.delay = std::chrono::hours(1)}, CURLE_OPERATION_TIMEDOUT},
      {{.ending = Ending::resetHandshake}, CURLE_SSL_CONNECT_ERROR},
      {{.ending = Ending::hangHandshake}, CURLE_OPERATION_TIMEDOUT},
      {{.interimAnswers = 3, .framing = Framing::chunks}, CURLE_OK},
      {{.ending = Ending::cutBody, .framing = Framing::chunks}, CURLE_PARTIAL_FILE},
      {{.framing = Framing::connection}, CURLE_OK},
      {{.promisedBytes = 100000}, CURLE_PARTIAL_FILE},
      {{.flood = Flood::body}, CURLE_OPERATION_TIMEDOUT},
      {{.flood = Flood::sessionTickets}, CURLE_OPERATION_TIMEDOUT},
      {{.readPause = std::chrono::milliseconds(1)}, CURLE_OK},
  };
  for (const auto& [script, code] : endings) {
    _service.script({.route = Route::name}, script, 1);
    _client->timeoutMs = code == CURLE_OPERATION_TIMEDOUT ? 400 : 20000;
    EXPECT_EQ(postReport(signedRequest()).code, code);
    _client->timeoutMs = 20000;
    EXPECT_EQ(postReport(signedRequest()).status, 200);
  }
  _service.script({.route = Route::name}, {.status = 500, .body = "first"});
  _service.script({.route = Route::name}, {.raw = "HTTP/1.1 418 \r\n\r\nodd"}, 1);
  EXPECT_EQ(postReport("").body, "odd");
  EXPECT_EQ(postReport("").body, "first");
  _service.clearScripts();
  EXPECT_EQ(postReport(signedRequest()).status, 200);
}

// On a machine without the other loopback addresses every name and address has a port of its own.
TEST_F(SandboxServiceTest, RoutesAreDistinguishedAndKeptInOrder) {
  expectRoutesToldApart(_service);
  SandboxService onOneAddress(portForEachHost());
  ASSERT_FALSE(onOneAddress.start());
  expectRoutesToldApart(onOneAddress);
  // A client that names no server, as by address, still reaches the name whose port it is.
  CurlClient(onOneAddress).get("https://127.0.0.1:" + std::to_string(onOneAddress.port()), false);
  EXPECT_EQ(onOneAddress.received().back().serverName, "fingerprint.localhost");
}

TEST_F(SandboxServiceTest, HttpDnsHeaderMayBeMissingEmptyOrLong) {
  const std::string url = withAddress(literals::kHttpDnsQueryFormat.str(), "127.53.20.1", "a.b");
  _service.script({.route = Route::query}, {.answerHeader = std::string(65536, '1')}, 1);
  _service.script({.route = Route::query}, {.answerHeader = ""}, 1);
  _service.script({.route = Route::query}, {.withoutAnswerHeader = true}, 1);
  EXPECT_EQ(_client->get(url, false).headers.count("x-zor-answer"), 0U);
  EXPECT_EQ(_client->get(url, false).headers["x-zor-answer"], "");
  EXPECT_THAT(_client->get(url, false).headers["x-zor-answer"], SizeIs(65536));
}

TEST_F(SandboxServiceTest, PingbackUploadMustHaveThePrefixAndNineEntriesARecord) {
  const std::string url = literals::kPingbackURL.str();
  ZORValue record = json(
      R"({"pbLibraryName":"z","pbLibraryVersion":"1","pbSystemName":"l","pbApplicationId":"a",
          "pbApplicationVersion":"1","pbFingerprint":"","pbErrorClass":1,"pbErrorType":"t",
          "pbErrorDescription":"d"})");
  const auto arrayOf = [](const ZORValue::Array& records) { return jsonForDisplay(records); };
  const std::string prefix = literals::kPingbackBodyPrefix.str();
  EXPECT_EQ(_client->post(url, prefix + arrayOf({record, record})).status, 200);
  EXPECT_THAT(_service.pingbackRecords(), SizeIs(2));
  EXPECT_EQ(_client->post(url, arrayOf({record})).status, 400);
  const std::string nested = std::string(99999, '[') + std::string(99999, ']');
  EXPECT_EQ(_client->post(url, prefix + nested).status, 400);
  record.set("pbErrorClass", "1");
  EXPECT_EQ(_client->post(url, prefix + arrayOf({record})).status, 400);
}

TEST_F(SandboxServiceTest, TakenPortAndForeignAddressAreNamed) {
  SandboxSettings settings;
  settings.port = _service.port();
  EXPECT_THAT(SandboxService(settings).start().value_or(""),
              HasSubstr("127.0.0.1 port " + std::to_string(settings.port)));
  settings.serviceAddresses = {"192.0.2.1"};
  EXPECT_THAT(SandboxService(settings).start().value_or(""), HasSubstr("192.0.2.1"));
  SandboxService second;
  EXPECT_FALSE(second.start());
  EXPECT_NE(second.port(), _service.port());
}

// Otherwise the certificate would be written to the current folder.
TEST(SandboxStart, FolderThatCannotBeMadeIsNamed) {
  const char* const before = ::getenv("TMPDIR");
  const std::optional<std::string> place =
      before != nullptr ? std::make_optional<std::string>(before) : std::nullopt;
  for (const char* const unfit : {"/proc", "/proc/missing"}) {
    ::setenv("TMPDIR", unfit, 1);
    EXPECT_THAT(SandboxService().start().value_or(""), HasSubstr("temporary folder")) << unfit;
  }
  place ? ::setenv("TMPDIR", place->c_str(), 1) : ::unsetenv("TMPDIR");
}

}  // namespace
}  // namespace zor::sandbox
