// Whole processes: what a host pays for loading the library and for its first cached fingerprint.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include "bench/cached_home.h"

extern char** environ;

namespace zor::bench {
namespace {

// Runs the program with the cached home's environment and waits for its end.
bool run(const std::string& program, const CachedHome& home) {
  std::string path = ZOR_BENCH_PROGRAMS "/" + program;
  char* const arguments[] = {path.data(), nullptr};
  std::vector<std::string> settings = home.environment();
  std::vector<char*> environment;
  for (std::string& setting : settings) environment.push_back(setting.data());
  environment.push_back(nullptr);
  pid_t child = -1;
  if (::posix_spawn(&child, path.c_str(), nullptr, nullptr, arguments, environment.data()) != 0) {
    return false;
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  return status == 0;
}

void runProgram(benchmark::State& state, const std::string& program) {
  const CachedHome home(program);
  for (auto _ : state) {
    if (!run(program, home)) state.SkipWithError("the program failed");
  }
}

BENCHMARK_CAPTURE(runProgram, Process_baseline_empty, std::string("zor_bench_empty"))
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(runProgram, Process_baseline_empty_with_cpp_runtime,
                  std::string("zor_bench_empty_cpp"))
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(runProgram, Process_library_loaded, std::string("zor_bench_load_only"))
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(runProgram, Process_first_cache_hit, std::string("zor_bench_first_hit"))
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

}  // namespace
}  // namespace zor::bench
