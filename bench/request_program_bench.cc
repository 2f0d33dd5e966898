// Whole programs that make one request to the sandbox: by bare libcurl, and through a session.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "literals/literals.h"
#include "sandbox/sandbox_service.h"

namespace zor::bench {
namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Waits for the end. The exit status; negative: the program did not start.
int run(std::vector<std::string> arguments, std::vector<std::string> environment) {
  pid_t child = -1;
  if (::posix_spawn(&child, arguments[0].c_str(), nullptr, nullptr, pointersTo(arguments).data(),
                    pointersTo(environment).data()) != 0) {
    return -1;
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  return status;
}

sandbox::SandboxService& service() {
  static auto& instance = *[] {
    auto* const made = new sandbox::SandboxService;
    if (made->start()) std::abort();
    return made;
  }();
  return instance;
}

void requestProgram(benchmark::State& state, const std::string& program) {
  std::vector<std::string> arguments{ZOR_BENCH_PROGRAMS "/" + program, literals::kBackupURL.str()};
  for (const std::string& entry : service().connectTo()) arguments.push_back(entry);
  const std::vector<std::string> environment{"SSL_CERT_FILE=" + service().caFile().string(),
                                             "PATH=/usr/bin:/bin"};
  for (auto _ : state) {
    if (run(arguments, environment) != 0) state.SkipWithError("the program failed");
  }
}

BENCHMARK_CAPTURE(requestProgram, RequestProgram_baseline_bare_libcurl,
                  std::string("zor_bench_request_bare"))
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(requestProgram, RequestProgram_session, std::string("zor_bench_request_session"))
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

}  // namespace
}  // namespace zor::bench
