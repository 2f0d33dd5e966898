#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <future>

#include "platform/operation_queue.h"
#include "sandbox/sandbox_service.h"
#include "support/text.h"
#include "tests/fakes/child_process.h"
#include "tests/fakes/fake_ports.h"

#if defined(__linux__)
#include <sys/prctl.h>

#include "tests/fakes/hostile_proxy.h"
#endif

namespace zor {
namespace {

using sandbox::Certificate;
using sandbox::Ending;
using sandbox::Flood;
using sandbox::Framing;
using sandbox::SandboxService;
using sandbox::SandboxSettings;
using sandbox::TlsVersions;

struct Result {
  std::optional<Data> body;
  std::optional<URLResponse> response;
  std::optional<ZORError> error;

  int status() const { return response ? response->statusCode : 0; }
  std::int64_t code() const { return error ? error->code : 0; }
};

std::int64_t codeOf(URLErrorCode code) { return static_cast<std::int64_t>(code); }

// Answers challenges by a rule that a test may change between requests.
class Judge final : public URLSessionDelegate {
 public:
  using Rule = std::function<void(ServerTrust& trust, const ChallengeCompletion& answer)>;

  static Rule expecting(const std::optional<std::string>& host) {
    return [host](ServerTrust& trust, const ChallengeCompletion& answer) {
      trust.setPolicies(
          {TrustPolicy{host}});  // The result is ignored: evaluate() must refuse as well.
      const auto evaluation = trust.evaluate();
      const bool trusted = evaluation && evaluation->result == TrustResult::unspecified;
      answer(trusted ? ChallengeDisposition::useCredential
                     : ChallengeDisposition::rejectProtectionSpace,
             trusted);
    };
  }

  static Rule answering(ChallengeDisposition disposition, bool withCredential) {
    return [=](ServerTrust&, const ChallengeCompletion& answer) {
      answer(disposition, withCredential);
    };
  }

  void didReceiveChallenge(const AuthenticationChallenge& challenge,
                           const ChallengeCompletion& completionHandler) override {
    ++challenges;
    rule(*challenge.serverTrust, completionHandler);
  }

  Rule rule = expecting(std::nullopt);
  std::atomic<int> challenges{0};
};

URLRequest requestFor(const std::string& url) {
  URLRequest request;
  request.url = url;
  return request;
}

class Client {
 public:
  // Connects to `port` of 127.0.0.1, whatever the URL says.
  explicit Client(std::uint16_t port)
      : _session(makeURLLoading({{"::127.0.0.1:" + std::to_string(port)}})
                     ->createSession(judge, _queue)) {}

  std::future<Result> start(const URLRequest& request) {
    const auto result = std::make_shared<std::promise<Result>>();
    _session->startDataTask(request,
                            [result](const auto& body, const auto& response, const auto& error) {
                              result->set_value({body, response, error});
                            });
    return result->get_future();
  }

  Result load(const URLRequest& request) { return start(request).get(); }
  Result load(const std::string& url) { return load(requestFor(url)); }
  Result load(const std::string& url, const std::optional<std::string>& expectedHost) {
    judge->rule = Judge::expecting(expectedHost);
    return load(url);
  }

  std::shared_ptr<Judge> judge = std::make_shared<Judge>();

 private:
  OperationQueue _queue{"url-loading-test", 2};
  const std::unique_ptr<URLSession> _session;
};

// A service whose root is the only one this process trusts during the test.
class URLLoading : public ::testing::TestWithParam<TlsVersions> {
 protected:
  static constexpr const char* kServed = "served.example";  // What the certificate is for.

  void SetUp() override {
    ::setenv("no_proxy", "*", 1);
    ::setenv("SSL_CERT_DIR", "/nonexistent", 1);
    serve(TlsVersions::any);
  }
  void TearDown() override { ::unsetenv("SSL_CERT_FILE"); }

  void serve(TlsVersions versions) {
    SandboxSettings settings;
    settings.tlsVersions = versions;
    service = std::make_unique<SandboxService>(settings);
    const auto problem = service->start();
    ASSERT_FALSE(problem) << *problem;
    ::setenv("SSL_CERT_FILE", service->caFile().c_str(), 1);
    client = std::make_unique<Client>(service->port());
    present(Certificate::ordinary);
    answer({});
  }

  // For all later connections and requests.
  void present(Certificate certificate, const std::vector<std::string>& names = {kServed}) {
    service->script({}, {.certificate = certificate, .certificateNames = names});
  }
  void answer(sandbox::Script script, std::optional<std::uint64_t> uses = std::nullopt) {
    if (!script.status) script.status = 200;
    service->script({}, script, uses);
  }

  // A URL of a host without a kept connection.
  std::string freshUrl() { return "https://fresh" + std::to_string(++_hosts) + ".example/"; }

  std::unique_ptr<SandboxService> service;
  std::unique_ptr<Client> client;

 private:
  int _hosts = 0;
};

void expectRefused(Client& client, const char* what, const URLRequest& request, URLErrorCode code) {
  const Result result = client.load(request);
  EXPECT_EQ(result.code(), codeOf(code)) << what;
  EXPECT_FALSE(result.body || result.response) << what;
}

TEST_F(URLLoading, RequestsThatMustNotBeSentEndWithTheirError) {
  const std::string withNul("https://served.example\0.org/", 28);
  expectRefused(*client, "plain", requestFor("http://served.example/"),
                URLErrorCode::unsupportedURL);
  expectRefused(*client, "a file", requestFor("file:///etc/hostname"),
                URLErrorCode::unsupportedURL);
  expectRefused(*client, "a blank", requestFor("https://served.example/a b"), URLErrorCode::badURL);
  expectRefused(*client, "a NUL", requestFor(withNul), URLErrorCode::badURL);
  expectRefused(*client, "a user", requestFor("https://u@served.example/"), URLErrorCode::badURL);
  URLRequest request = requestFor("https://served.example/");
  request.headers = {{"A", "b\r\nHost: c"}};
  expectRefused(*client, "two lines in a header", request, URLErrorCode::badURL);
  request = requestFor("https://served.example/");
  request.method = "GET / HTTP/1.1\r\nA: b\r\n";
  expectRefused(*client, "two lines in the method", request, URLErrorCode::badURL);
  EXPECT_TRUE(service->handshakes().empty());
}

TEST_F(URLLoading, CertificatesAreJudgedByTheExpectedHostBeforeAnythingIsSent) {
  const std::optional<std::string> served = kServed;
  const struct {
    const char* what;
    Certificate certificate;
    std::vector<std::string> names;
    std::optional<std::string> expectedHost;
    bool accepted;
  } kRows[] = {
      {"the right host", Certificate::ordinary, {}, served, true},
      {"the right host in capitals", Certificate::ordinary, {}, "SERVED.example", true},
      {"another host", Certificate::ordinary, {}, "other.example", false},
      {"the chain alone", Certificate::ordinary, {}, std::nullopt, true},
      {"an address of the certificate", Certificate::ordinary, {"127.9.9.9"}, "127.9.9.9", true},
      {"another address", Certificate::ordinary, {"127.9.9.9"}, "127.9.9.8", false},
      {"a wildcard", Certificate::ordinary, {"*.w.example"}, "a.w.example", true},
      {"a wildcard, two labels", Certificate::ordinary, {"*.w.example"}, "a.b.w.example", false},
      {"a partial wildcard", Certificate::ordinary, {"a*.w.example"}, "ab.w.example", false},
      {"an empty host", Certificate::ordinary, {}, "", false},
      {"a host with a NUL", Certificate::ordinary, {}, std::string("served.example\0x", 16), false},
      {"all hosts below", Certificate::ordinary, {}, ".example", false},
      {"an attacker's domain", Certificate::attacker, {"attacker.example"}, served, false},
      {"expired", Certificate::expired, {}, std::nullopt, false},
      {"not yet valid", Certificate::notYetValid, {}, std::nullopt, false},
      {"signed by itself", Certificate::selfSigned, {}, std::nullopt, false},
      {"an unknown root", Certificate::unknownRoot, {}, std::nullopt, false},
  };
  for (const auto& row : kRows) {
    present(row.certificate, row.names.empty() ? std::vector<std::string>{kServed} : row.names);
    const std::size_t before = service->received().size();
    const std::uint64_t bytesBefore = service->counts("127.0.0.1").requestBytes;
    URLRequest request = requestFor(freshUrl());
    request.method = "POST";
    request.body = {'s', 'e', 'c', 'r', 'e', 't'};
    client->judge->rule = Judge::expecting(row.expectedHost);
    const Result result = client->load(request);
    EXPECT_EQ(result.status(), row.accepted ? 200 : 0) << row.what;
    EXPECT_EQ(result.code(), row.accepted ? 0 : codeOf(URLErrorCode::serverCertificateUntrusted))
        << row.what;
    EXPECT_EQ(service->received().size(), before + (row.accepted ? 1 : 0)) << row.what;
    if (!row.accepted) {
      EXPECT_EQ(service->counts("127.0.0.1").requestBytes, bytesBefore) << row.what;
    }
  }
}

TEST_P(URLLoading, ConnectionJudgedForOneHostNeverServesAnother) {
  serve(GetParam());
  const std::string url = "https://127.0.0.1/";
  ASSERT_EQ(client->load(url, kServed).status(), 200);
  ASSERT_EQ(client->load(url, kServed).status(), 200);
  auto received = service->received();
  ASSERT_EQ(received.size(), 2U);
  ASSERT_EQ(received[0].connection, received[1].connection) << "no connection is kept";

  // On the same session, then on another that finds the first one's connection.
  EXPECT_EQ(client->load(url, "other.example").code(),
            codeOf(URLErrorCode::serverCertificateUntrusted));
  ASSERT_EQ(client->load(url, kServed).status(), 200);
  Client another(service->port());
  EXPECT_EQ(another.load(url, "other.example").code(),
            codeOf(URLErrorCode::serverCertificateUntrusted));

  // And on a new connection, which might resume the session of the first.
  ASSERT_EQ(client->load(url, kServed).status(), 200);
  service->closeConnections();
  EXPECT_EQ(client->load(url, "other.example").code(),
            codeOf(URLErrorCode::serverCertificateUntrusted));
  EXPECT_EQ(service->received().size(), 4U);
}

INSTANTIATE_TEST_SUITE_P(TLS, URLLoading,
                         ::testing::Values(TlsVersions::only12, TlsVersions::only13));

TEST_F(URLLoading, DispositionsDecideAndWithoutOneTheServerIsRefused) {
  const auto untrusted = codeOf(URLErrorCode::serverCertificateUntrusted);
  const auto codeFor = [this](const std::string& url, Judge::Rule rule) {
    client->judge->rule = std::move(rule);
    return client->load(url).code();
  };
  EXPECT_EQ(codeFor(freshUrl(), Judge::answering(ChallengeDisposition::cancel, false)),
            codeOf(URLErrorCode::cancelled));
  EXPECT_EQ(codeFor(freshUrl(), Judge::answering(ChallengeDisposition::useCredential, false)),
            untrusted);
  EXPECT_EQ(codeFor(freshUrl(), [](auto&, const auto&) {}), untrusted);
  EXPECT_EQ(codeFor(freshUrl(), [](auto&, const auto&) { throw 1; }), untrusted);
  const auto byDefault = Judge::answering(ChallengeDisposition::performDefaultHandling, false);
  EXPECT_EQ(codeFor(freshUrl(), byDefault), untrusted);
  EXPECT_EQ(codeFor("https://served.example/", byDefault), 0);
  client->judge.reset();
  EXPECT_EQ(client->load(freshUrl()).code(), untrusted);
}

TEST_F(URLLoading, RedirectsAreFollowedWithinHttpsAndEachServerIsJudged) {
  const auto redirect = [this](const std::string& from, const std::string& to) {
    service->script({.pathPrefix = from}, {.status = 302, .headers = {{"Location", to}}});
  };
  const std::string start = "https://first.example";
  redirect("/away", "https://second.example/there");
  redirect("/plain", "http://first.example/there");
  redirect("/loop", "/loop");
  const Result away = client->load(start + "/away");
  ASSERT_EQ(away.status(), 200);
  EXPECT_EQ(away.response->url, "https://second.example/there");
  EXPECT_FALSE(away.response->header("Location"));
  EXPECT_EQ(client->judge->challenges, 2);
  EXPECT_EQ(client->load(start + "/plain").code(), codeOf(URLErrorCode::unsupportedURL));
  EXPECT_EQ(client->load(start + "/loop").code(), codeOf(URLErrorCode::httpTooManyRedirects));
}

TEST_F(URLLoading, FaultsOfTheServerEndWithTheirErrorAndWithoutABody) {
  const std::string longLine = "HTTP/1.1 200 OK\r\nA: " + std::string(200000, 'a') + "\r\n\r\n";
  const std::string oversize(kMaxBodyBytes + 1, 'a');
  const struct {
    const char* what;
    sandbox::Script script;
    URLErrorCode code;
    int status;
  } kRows[] = {
      {"a cut body",
       {.ending = Ending::cutBody, .body = "0123456789"},
       URLErrorCode::networkConnectionLost,
       200},
      {"a cut body in chunks",
       {.ending = Ending::cutBody, .body = "0123456789", .framing = Framing::chunks},
       URLErrorCode::networkConnectionLost,
       200},
      {"a body without a length that is cut",
       {.ending = Ending::cutBody, .body = "0123456789", .framing = Framing::connection},
       URLErrorCode::networkConnectionLost,
       200},
      {"a length that is not kept",
       {.body = "0123456789", .promisedBytes = 20},
       URLErrorCode::networkConnectionLost,
       200},
      {"another protocol",
       {.raw = "HTTP/1.1 101 Switching Protocols\r\nUpgrade: a\r\n\r\n"},
       URLErrorCode::badServerResponse,
       0},
      {"a reset", {.ending = Ending::reset}, URLErrorCode::networkConnectionLost, 0},
      {"no answer", {.ending = Ending::hang}, URLErrorCode::timedOut, 0},
      {"no handshake", {.ending = Ending::hangHandshake}, URLErrorCode::timedOut, 0},
      {"a reset handshake",
       {.ending = Ending::resetHandshake},
       URLErrorCode::secureConnectionFailed,
       0},
      {"interim answers without end",
       {.flood = Flood::interimAnswers},
       URLErrorCode::dataLengthExceedsMaximum,
       0},
      {"headers without end",
       {.flood = Flood::headers},
       URLErrorCode::dataLengthExceedsMaximum,
       200},
      {"a body without end", {.flood = Flood::body}, URLErrorCode::dataLengthExceedsMaximum, 200},
      {"a redirect with a body without end",
       {.status = 302, .headers = {{"Location", "/"}}, .flood = Flood::body},
       URLErrorCode::dataLengthExceedsMaximum,
       302},
      {"trailers without end",
       {.flood = Flood::trailers},
       URLErrorCode::dataLengthExceedsMaximum,
       200},
      {"session tickets without end",
       {.flood = Flood::sessionTickets},
       URLErrorCode::dataLengthExceedsMaximum,
       0},
      {"a long header", {.raw = longLine}, URLErrorCode::dataLengthExceedsMaximum, 200},
      {"a long body", {.body = oversize}, URLErrorCode::dataLengthExceedsMaximum, 200},
      {"no HTTP",
       {.raw = "220 other service\r\n", .closeConnection = true},
       URLErrorCode::badServerResponse,
       0},
  };
  for (const auto& row : kRows) {
    present(Certificate::ordinary);
    answer(row.script);
    URLRequest request = requestFor(freshUrl());
    if (row.code == URLErrorCode::timedOut) request.timeoutSeconds = 0.3;
    const Result result = client->load(request);
    EXPECT_EQ(result.code(), codeOf(row.code)) << row.what;
    EXPECT_EQ(result.status(), row.status) << row.what;
    EXPECT_FALSE(result.body) << row.what;
  }
}

TEST_F(URLLoading, AnswersMayBeFramedInEveryWayOfHttp) {
  const sandbox::Script kRows[] = {
      {.body = "0123456789", .interimAnswers = 3},
      {.body = "0123456789", .framing = Framing::chunks},
      {.body = "0123456789", .framing = Framing::connection},
      {.body = "0123456789+", .promisedBytes = 10},
  };
  for (const auto& script : kRows) {
    answer(script);
    const Result result = client->load(freshUrl());
    EXPECT_EQ(result.status(), 200) << &script - kRows;
    EXPECT_EQ(textOf(result.body.value_or(Data{})), "0123456789") << &script - kRows;
  }
}

TEST_F(URLLoading, ATryIsOneRequestOnTheWireUnlessItOnlyAsks) {
  URLRequest post = requestFor("https://served.example/");
  post.method = "POST";
  post.body = {'o', 'n', 'c', 'e'};
  EXPECT_EQ(client->load(post).status(), 200);
  answer({.ending = Ending::dropKept}, 1);
  EXPECT_EQ(client->load(post).code(), codeOf(URLErrorCode::networkConnectionLost));
  EXPECT_EQ(service->received().size(), 2U);
  EXPECT_EQ(client->load(post).status(), 200);
  answer({.ending = Ending::dropKept}, 1);
  EXPECT_EQ(client->load("https://served.example/").status(), 200);
  EXPECT_EQ(service->received().size(), 5U);
}

TEST_F(URLLoading, AnUploadThatMakesProgressMayOutlastTheTimeLimit) {
  service->script({}, {.certificateNames = {kServed}, .readPause = std::chrono::milliseconds(20)});
  URLRequest request = requestFor(freshUrl());
  request.method = "POST";
  request.timeoutSeconds = 0.5;
  request.body.assign(768U << 10, 'a');
  EXPECT_EQ(client->load(request).status(), 200);
}

TEST_F(URLLoading, BodiesUpToTheLimitArriveAndAnEmptyOneIsPresent) {
  answer({.body = std::string(kMaxBodyBytes, 'a')});
  const Result largest = client->load(freshUrl());
  ASSERT_TRUE(largest.body);
  EXPECT_EQ(largest.body->size(), kMaxBodyBytes);
  answer({.body = ""});
  EXPECT_EQ(client->load(freshUrl()).body, Data{});
}

TEST_F(URLLoading, FiftyRequestsAtOnceEachEndOnce) {
  constexpr int kRequests = 50;
  std::vector<std::future<Result>> results;
  for (int count = 0; count < kRequests; ++count) {
    results.push_back(
        client->start(requestFor("https://" + std::to_string(count % 5) + ".example/")));
  }
  for (auto& result : results) EXPECT_EQ(result.get().status(), 200);
  EXPECT_EQ(service->received().size(), std::size_t{kRequests});
}

// Linux alone: proxies from the environment, requests after a fork, the module with the libraries.
#if defined(__linux__)

TEST_F(URLLoading, ProxiesThatMisbehaveEndWithTheirError) {
  const std::string chunk = "1000\r\n" + std::string(4096, 'a') + "\r\n";
  const struct {
    const char* what;
    testing::ProxyManner manner;
    URLErrorCode code;
  } kRows[] = {
      {"a refusal with a body without end",
       {"HTTP/1.1 407 No\r\nTransfer-Encoding: chunked\r\n\r\n", chunk},
       URLErrorCode::dataLengthExceedsMaximum},
      {"headers without end",
       {"HTTP/1.1 200 OK\r\n", "A: " + std::string(1000, 'a') + "\r\n"},
       URLErrorCode::dataLengthExceedsMaximum},
      {"interim answers without end",
       {"", "HTTP/1.1 100 Continue\r\n\r\n"},
       URLErrorCode::networkConnectionLost},
      {"a byte now and then", {"HTTP/1.1 200 OK\r\n", "A", 200}, URLErrorCode::timedOut},
      {"silence", {}, URLErrorCode::timedOut},
      {"rubbish", {"", std::string("\1\2\0\n", 4)}, URLErrorCode::dataLengthExceedsMaximum},
      {"a tunnel that closes",
       {.opening = "HTTP/1.1 200 OK\r\n\r\n", .closes = true},
       URLErrorCode::secureConnectionFailed},
  };
  ::unsetenv("no_proxy");
  for (const auto& row : kRows) {
    const testing::HostileProxy proxy(row.manner);
    ::setenv("https_proxy", proxy.url().c_str(), 1);
    URLRequest request = requestFor(freshUrl());
    if (row.code == URLErrorCode::timedOut) request.timeoutSeconds = 0.3;
    expectRefused(*client, row.what, request, row.code);
  }
  ::unsetenv("https_proxy");
}

TEST_F(URLLoading, ChildOfAForkLoadsAfreshAndLeavesTheParentsExchangeAlone) {
  ZOR_SKIP_WHERE_BUSY_PROCESSES_CANNOT_FORK();
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer lets no thread start in the child of a fork";
#endif
  service->script({.pathPrefix = "/slow"},
                  {.delay = std::chrono::milliseconds(500), .status = 200});
  auto slow = client->start(requestFor("https://served.example/slow"));
  ASSERT_TRUE(service->waitForRequests(1));
  const pid_t child = ::fork();
  if (child == 0) {
    Client fresh(service->port());
    ::_exit(fresh.load("https://served.example/quick").status() == 200 ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(slow.get().status(), 200);
}

// The host program, run by a shell.
int runHost(const std::string& folder, const std::string& arguments) {
  return std::system((folder + "/zor_url_loading_host " + arguments).c_str());
}

const std::string kPrograms = ZOR_TEST_BINARY_DIR "/bin";

TEST(URLLoadingHost, SessionWithoutARequestMapsNoLibraryAndStartsNoThread) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer has a thread of its own";
#endif
  EXPECT_EQ(runHost(kPrograms, "idle"), 0);
}

TEST(URLLoadingHost, RequestsEndWithAnErrorIfTheModuleIsMissing) {
  const std::string folder = testing::makeTemporaryFolder();
  std::filesystem::copy(kPrograms + "/zor_url_loading_host", folder + "/zor_url_loading_host");
  EXPECT_EQ(runHost(folder, "missing 2>/dev/null"), 0);
  std::filesystem::remove_all(folder);
}

bool honoursRaisedPrivileges(const std::string& folder) {
  struct statvfs volume {};
  return ::statvfs(folder.c_str(), &volume) == 0 && (volume.f_flag & ST_NOSUID) == 0 &&
         ::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 0;
}

TEST(URLLoadingHost, ProgramsWithRaisedPrivilegesWriteNoSecretsForTheirCaller) {
  const gid_t foreignGroup = ::getegid() + 1;
  const std::string folder = testing::makeTemporaryFolder();
  const std::string host = folder + "/zor_url_loading_host";
  std::filesystem::copy(kPrograms + "/../lib/zorfingerprint", folder + "/zorfingerprint");
  std::filesystem::copy(kPrograms + "/zor_url_loading_host", host);
  if (!honoursRaisedPrivileges(folder) || ::chown(host.c_str(), ::geteuid(), foreignGroup) != 0 ||
      ::chmod(host.c_str(), 02755) != 0) {
    std::filesystem::remove_all(folder);
    GTEST_SKIP() << "no program's privileges can be raised here";
  }
  ::setenv("SSLKEYLOGFILE", (folder + "/secrets").c_str(), 1);
  EXPECT_EQ(runHost(folder, "missing 2>/dev/null"), 0);
  ::unsetenv("SSLKEYLOGFILE");
  EXPECT_FALSE(std::filesystem::exists(folder + "/secrets"));
  std::filesystem::remove_all(folder);
}

TEST_F(URLLoading, ProcessMayExitAtAnyMomentOfItsExchanges) {
  const testing::HostileProxy proxy({"HTTP/1.1 407 No\r\nTransfer-Encoding: chunked\r\n\r\n",
                                     "1000\r\n" + std::string(4096, 'a') + "\r\n"});
  ::setenv("https_proxy", proxy.url().c_str(), 1);
  for (int run = 0; run < 10; ++run) {
    run % 2 == 0 ? ::setenv("no_proxy", "*", 1) : ::unsetenv("no_proxy");
    EXPECT_EQ(runHost(kPrograms, "exit " + std::to_string(service->port())), 0);
  }
  ::unsetenv("https_proxy");
}

#endif

}  // namespace
}  // namespace zor
