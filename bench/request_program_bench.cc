// Whole programs that make one request to the sandbox: with bare libcurl, and through a session.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "bench/spawned_program.h"
#include "literals/literals.h"
#include "sandbox/sandbox_service.h"

namespace zor::bench {
namespace {

sandbox::SandboxService& programService() {
  static auto& instance = *[] {
    auto* const made = new sandbox::SandboxService;
    if (made->start()) std::abort();
    return made;
  }();
  return instance;
}

void requestProgram(benchmark::State& state, const std::string& program) {
  std::vector<std::string> arguments{literals::kBackupURL.str()};
  for (const std::string& entry : programService().connectTo()) arguments.push_back(entry);
  const std::vector<std::string> environment{"SSL_CERT_FILE=" + programService().caFile().string(),
                                             "PATH=/usr/bin:/bin"};
  for (auto _ : state) {
    if (!runProgram(program, arguments, environment)) state.SkipWithError("the program failed");
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
