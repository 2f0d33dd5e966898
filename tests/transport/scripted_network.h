// A machine whose network answers each URL as a test says, with its own resolver and file of
// failure records.
#ifndef ZOR_TESTS_TRANSPORT_SCRIPTED_NETWORK_H_
#define ZOR_TESTS_TRANSPORT_SCRIPTED_NETWORK_H_

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "literals/literals.h"
#include "pingback/ZORSecPingback.h"
#include "pingback/ZORSecPingbackStore.h"
#include "platform/operation_queue.h"
#include "session/ZORHttpsURLSession.h"
#include "tests/fakes/eventually.h"
#include "tests/fakes/fake_ports.h"
#include "transport/ZORHTTPDNSManager.h"

namespace zor::testing {

using Answer = ScriptedURLLoading::Answer;

class ScriptedNetwork {
 public:
  // The HTTPDNS service is dns.example at 192.0.2.1, 192.0.2.2 and 192.0.2.3.
  ScriptedNetwork() {
    machine.urlLoading.setScript([this](const URLRequest& request) { return answer(request); });
  }
  // A completion may hand work to the file of failure records, and that an upload to the network.
  ~ScriptedNetwork() {
    drain();
    GetPingbackStore()->fileSize();
    drain();
  }

  static void drain() { zor_httpsOperationQueue().waitUntilAllOperationsAreFinished(); }

  // URLs without an answer are unreachable. Call it before requests are started.
  void set(const std::string& url, Answer given) { _answers[url] = std::move(given); }
  // Called before an answer is given, on the queue.
  void onRequest(std::function<void(const std::string& url)> hook) { _hook = std::move(hook); }

  static std::string bootstrapUrl(const std::string& fixedAddress) {
    return "https://" + fixedAddress + ":8443/resolve?dns=dns.example";
  }
  static std::string queryUrl(const std::string& host) {
    return "https://198.51.100.1/q?h=" + host;
  }
  static Answer addresses(const std::string& text) {
    Answer given = ScriptedURLLoading::status(200);
    given.response->headers = {{literals::kHttpDnsAnswerHeader.str(), text}};
    return given;
  }
  // The service is found by its first fixed address and answers `text` for `host`.
  void resolve(const std::string& host, const std::string& text) {
    set(bootstrapUrl("192.0.2.1"), addresses("198.51.100.1"));
    set(queryUrl(host), addresses(text));
  }

  // The URLs requested so far, in order, without the fetches of the backup list by name.
  std::vector<std::string> urls() {
    std::vector<std::string> urls;
    for (const URLRequest& request : machine.urlLoading.requests()) {
      if (request.url != literals::kBackupURL.view()) urls.push_back(request.url);
    }
    return urls;
  }

  // Type and description of the failures recorded so far, in order.
  std::vector<std::pair<std::string, std::string>> failures() {
    std::vector<std::pair<std::string, std::string>> failures;
    const ZORValue records = json(GetPingbackStore()->readStr().content().value_or(""));
    for (const ZORValue& record : records.elements()) {
      EXPECT_EQ(record[literals::kPingbackErrorClassKey.view()], 1);
      failures.emplace_back(*record[literals::kPingbackErrorTypeKey.view()].text(),
                            *record[literals::kPingbackErrorDescriptionKey.view()].text());
    }
    return failures;
  }

  FakeMachine machine;

 private:
  Answer answer(const URLRequest& request) {
    if (_hook) _hook(request.url);
    const auto found = _answers.find(request.url);
    if (found == _answers.end()) return ScriptedURLLoading::unreachable();
    Answer given = found->second;
    if (given.response) given.response->url = request.url;
    return given;
  }

  const ScopedPingbackEnvironment _environment{machine.bundle};
  const ScopedPingbackStore _pingbackStore;
  const ScopedHTTPDNSManager _resolver{ZORHTTPDNSManager::create(
      ZORHttpDnsConfig("dns.example", {"192.0.2.1", "192.0.2.2", "192.0.2.3"}))};
  std::map<std::string, Answer> _answers;
  std::function<void(const std::string& url)> _hook;
};

// Holds every completion back until it is destroyed.
class CompletionsHeld {
 public:
  CompletionsHeld() {
    for (int index = 0; index < 2; ++index) {
      zor_httpsOperationQueue().addOperation(
          [held = _held] { std::ignore = eventually([&held] { return !*held; }); });
    }
  }
  ~CompletionsHeld() { *_held = false; }

 private:
  const std::shared_ptr<std::atomic<bool>> _held = std::make_shared<std::atomic<bool>>(true);
};

// What a completion handler got in each call.
struct HandlerCalls {
  TransportCompletion handler() {
    return [this](const auto& body, const auto& response, const auto& error) {
      const MutexLock lock(mutex);
      answers.push_back({body, response, error});
    };
  }
  Mutex mutex;
  std::vector<Answer> answers;
};

}  // namespace zor::testing

#endif  // ZOR_TESTS_TRANSPORT_SCRIPTED_NETWORK_H_
