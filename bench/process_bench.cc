// Whole processes: the cost of loading the library, and of the first cached fingerprint.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/cached_home.h"
#include "bench/spawned_program.h"

namespace zor::bench {
namespace {

void process(benchmark::State& state, const std::string& program) {
  const CachedHome home(program);
  for (auto _ : state) {
    if (!runProgram(program, {}, home.environment())) state.SkipWithError("the program failed");
  }
}

BENCHMARK_CAPTURE(process, baseline_empty, std::string("zor_bench_empty"))
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(process, baseline_empty_with_cpp_runtime, std::string("zor_bench_empty_cpp"))
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(process, library_loaded, std::string("zor_bench_load_only"))
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(process, first_cache_hit, std::string("zor_bench_first_hit"))
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

}  // namespace
}  // namespace zor::bench
