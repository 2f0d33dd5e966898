// Exchanges with the sandbox over TLS, compared with the same ones made by bare libcurl.
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <condition_variable>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "literals/literals.h"
#include "pingback/ZORSecPingbackStore.h"
#include "platform/ports.h"
#include "sandbox/sandbox_service.h"
#include "session/ZORHttpsURLSession.h"
#include "support/text.h"
#include "tests/fakes/fake_ports.h"
#include "transport/ZORDing.h"
#include "transport/ZORHTTPDNSManager.h"

namespace zor::bench {
namespace {

using sandbox::Ending;
using sandbox::Route;
using sandbox::SandboxService;

// A service and a machine whose URL loading is redirected to it.
class Service {
 public:
  Service() {
    if (const auto problem = _service.start()) std::abort();
    ::setenv("SSL_CERT_FILE", _service.caFile().c_str(), 1);
    _loading = makeURLLoading({_service.connectTo()});
    // No backup address is ever known, so that a chain ends at the HTTPDNS address.
    _service.script({.route = Route::address}, {.status = 200, .body = "{}"});
    _service.script({.route = Route::backupService}, {.body = R"([{"code":"accept","lists":""}])"});
  }

  SandboxService& sandbox() { return _service; }
  URLLoadingPort& loading() { return *_loading; }

 private:
  SandboxService _service;
  std::unique_ptr<URLLoadingPort> _loading;
};

Service& service() {
  static auto& instance = *new Service;
  return instance;
}

// The fake machine with real URL loading.
class Machine {
 public:
  Machine() : _scope(ports().with(service().loading())) {}

 private:
  testing::FakeMachine _fake;
  const ScopedPorts _scope;
};

// Runs `start` with a completion and waits for the completion.
template <typename Start>
bool succeeds(const Start& start) {
  std::mutex mutex;
  std::condition_variable ended;
  int outcome = -1;
  start([&](const auto& body, const auto& response, const auto& error) {
    const std::lock_guard<std::mutex> lock(mutex);
    outcome = zor_isRequestSuccess(body, response, error) ? 1 : 0;
    ended.notify_all();
  });
  std::unique_lock<std::mutex> lock(mutex);
  ended.wait(lock, [&outcome] { return outcome >= 0; });
  return outcome == 1;
}

std::size_t dropBody(const char*, std::size_t, std::size_t count, void*) { return count; }

// Exchanges through libcurl's easy interface on one thread; libcurl checks the certificates itself.
class BareCurl {
 public:
  BareCurl() : _handle(::curl_easy_init()) {
    for (const std::string& entry : service().sandbox().connectTo()) {
      _connectTo = ::curl_slist_append(_connectTo, entry.c_str());
    }
    ::curl_easy_setopt(_handle, CURLOPT_CONNECT_TO, _connectTo);
    ::curl_easy_setopt(_handle, CURLOPT_CAINFO, service().sandbox().caFile().c_str());
    ::curl_easy_setopt(_handle, CURLOPT_WRITEFUNCTION, dropBody);
    ::curl_easy_setopt(_handle, CURLOPT_SSL_SESSIONID_CACHE, 0L);
  }
  ~BareCurl() {
    ::curl_easy_cleanup(_handle);
    ::curl_slist_free_all(_connectTo);
  }
  BareCurl(const BareCurl&) = delete;
  BareCurl& operator=(const BareCurl&) = delete;

  // `verifyHost`: whether the certificate must be for the URL's host.
  bool get(const std::string& url, bool verifyHost = true) {
    ::curl_easy_setopt(_handle, CURLOPT_URL, url.c_str());
    ::curl_easy_setopt(_handle, CURLOPT_SSL_VERIFYHOST, verifyHost ? 2L : 0L);
    return ::curl_easy_perform(_handle) == CURLE_OK;
  }

 private:
  CURL* const _handle;
  curl_slist* _connectTo = nullptr;
};

URLRequest requestFor(const std::string& url) {
  URLRequest request;
  request.url = url;
  return request;
}

void Request_baseline_bare_libcurl(benchmark::State& state) {
  service();
  BareCurl curl;
  for (auto _ : state) {
    if (!curl.get(literals::kBackupURL.str())) state.SkipWithError("the request failed");
  }
}
BENCHMARK(Request_baseline_bare_libcurl)->Unit(benchmark::kMicrosecond)->UseRealTime();

void Request_session(benchmark::State& state) {
  service();
  const Machine machine;
  const auto session = ZORHttpsURLSession::create();
  session->setAcceptHost("backup.localhost");
  for (auto _ : state) {
    const bool done = succeeds([&session](const TransportCompletion& completion) {
      session->performRequestRetryCount(requestFor(literals::kBackupURL.str()), 1, completion);
    });
    if (!done) state.SkipWithError("the request failed");
  }
}
BENCHMARK(Request_session)->Unit(benchmark::kMicrosecond)->UseRealTime();

void breakTheName() {
  service().sandbox().script({.route = Route::name}, {.ending = Ending::reset});
}

// Twice by name, the bootstrap, the query, and the address that answers.
void DeadName_baseline_bare_exchanges(benchmark::State& state) {
  service();
  breakTheName();
  const std::string byName = literals::kFingerprintURL.str();
  const auto byAddress = zor_replaceHostForRequest("127.53.21.1", requestFor(byName)).url;
  const auto bootstrap = formatText(literals::kHttpDnsBootstrapFormat.view(),
                                    {"127.53.10.101", literals::kHttpDnsHost.str()});
  const auto query =
      formatText(literals::kHttpDnsQueryFormat.view(), {"127.53.20.1", "fingerprint.localhost"});
  BareCurl curl;  // Keeps its connections from round to round, as the library does.
  for (auto _ : state) {
    const bool nameIsDead = !curl.get(byName) && !curl.get(byName);
    if (!nameIsDead || !curl.get(bootstrap, false) || !curl.get(query, false) ||
        !curl.get(byAddress, false)) {
      state.SkipWithError("an exchange went another way");
    }
  }
}
BENCHMARK(DeadName_baseline_bare_exchanges)->Unit(benchmark::kMicrosecond)->UseRealTime();

// Otherwise the records of earlier rounds would make each round longer.
void forgetFailures() {
  const auto store = GetPingbackStore();
  store->clearFileContent();
  benchmark::DoNotOptimize(store->fileSize());  // Waits until it is done.
}

void DeadName_chain(benchmark::State& state) {
  service();
  breakTheName();
  const Machine machine;
  for (auto _ : state) {
    state.PauseTiming();
    const ScopedHTTPDNSManager resolver(ZORHTTPDNSManager::create());
    const auto runner = ZORDing::create();
    forgetFailures();
    state.ResumeTiming();
    const bool done = succeeds([&runner](const TransportCompletion& completion) {
      runner->performRequest(requestFor(literals::kFingerprintURL.str()), completion);
    });
    if (!done) state.SkipWithError("the chain failed");
  }
}
BENCHMARK(DeadName_chain)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
}  // namespace zor::bench
