// A host process that the URL-loading tests watch from outside.
// usage: zor_url_loading_host idle | missing | exit PORT
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <future>
#include <string>

#include "platform/operation_queue.h"
#include "platform/url_loading_port.h"

namespace zor {
namespace {

class Refusing final : public URLSessionDelegate {
 public:
  void didReceiveChallenge(const AuthenticationChallenge& /*challenge*/,
                           const ChallengeCompletion& completionHandler) override {
    completionHandler(ChallengeDisposition::rejectProtectionSpace, false);
  }
};

class Host {
 public:
  explicit Host(std::string connectTo)
      : _session(makeURLLoading({{std::move(connectTo)}})->createSession(_delegate, _queue)) {}

  void start(const TransportCompletion& completion) {
    URLRequest request;
    request.url = "https://host.example/";
    _session->startDataTask(request, completion);
  }

 private:
  OperationQueue _queue{"host", 2};
  const std::shared_ptr<Refusing> _delegate = std::make_shared<Refusing>();
  const std::unique_ptr<URLSession> _session;
};

bool anyLineHas(const char* path, const std::string& text) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.find(text) != std::string::npos) return true;
  }
  return false;
}

int runIdle() {
  const Host host("");
  const bool mapped = anyLineHas("/proc/self/maps", "libcurl") ||
                      anyLineHas("/proc/self/maps", "libssl") ||
                      anyLineHas("/proc/self/maps", "zor_net");
  return mapped || !anyLineHas("/proc/self/status", "Threads:\t1") ? EXIT_FAILURE : EXIT_SUCCESS;
}

// There is no module beside this program.
int runWithoutModule() {
  std::promise<std::int64_t> code;
  Host host("");
  host.start([&code](const auto& /*body*/, const auto& /*response*/, const auto& error) {
    code.set_value(error ? error->code : 0);
  });
  const auto expected = static_cast<std::int64_t>(URLErrorCode::resourceUnavailable);
  return code.get_future().get() == expected ? EXIT_SUCCESS : EXIT_FAILURE;
}

// Ends the process at some moment during many handshakes.
int runIntoExit(const std::string& port) {
  constexpr int kExchanges = 40;
  constexpr int kSpreadMicroseconds = 30000;
  static auto& host = *new Host("::127.0.0.1:" + port);
  for (int count = 0; count < kExchanges; ++count) host.start({});
  ::usleep(static_cast<useconds_t>(::getpid() * 7919 % kSpreadMicroseconds));
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace zor

int main(int argumentCount, char** arguments) {
  const std::string what = argumentCount > 1 ? arguments[1] : "";
  if (what == "idle") return zor::runIdle();
  if (what == "missing") return zor::runWithoutModule();
  if (what == "exit" && argumentCount > 2) return zor::runIntoExit(arguments[2]);
  return EXIT_FAILURE;
}
