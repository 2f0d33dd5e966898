// A host that forks at some moment of its very first call. Both processes make a call of their own
// and end when it has been answered, whatever the answer.
// usage: zor_forking_host PORT MICROSECONDS
// The port is that of a local service; 0: none, and even the ports are made by the call itself. The
// time counts from the start of the call.
#include <ZORFingerPrint/ZORFingerPrint.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "platform/ports.h"

namespace {

void completeACall() {
  std::promise<void> answered;
  zor::ZORFingerPrint::sharedInstance()->getFingerprint(
      [&answered](const auto&...) { answered.set_value(); });
  answered.get_future().wait();
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount < 3) return EXIT_FAILURE;
  ::alarm(60);  // Neither process waits forever.
  std::unique_ptr<zor::URLLoadingPort> loading;
  std::optional<zor::ScopedPorts> ports;
  if (const std::string port = arguments[1]; port != "0") {
    loading = zor::makeURLLoading({{"::127.0.0.1:" + port}});
    ports.emplace(zor::systemPorts().with(*loading));
  }
  const auto moment =
      std::chrono::steady_clock::now() + std::chrono::microseconds(std::atoi(arguments[2]));
  std::thread caller(completeACall);
  while (std::chrono::steady_clock::now() < moment) std::this_thread::yield();
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(30);
    completeACall();
    std::exit(EXIT_SUCCESS);
  }
  caller.join();
  int status = -1;
  ::waitpid(child, &status, 0);
  return status;
}
