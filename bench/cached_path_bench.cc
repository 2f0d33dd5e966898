// The cached path inside a running host.
#include <ZORFingerPrint/ZORFingerPrint.h>
#include <benchmark/benchmark.h>
#include <sys/stat.h>

#include "bench/cached_home.h"

namespace zor::bench {
namespace {

void CachedPath_baseline_stat(benchmark::State& state) {
  const std::string path = ownHome().defaultsFile();
  struct stat figures {};
  for (auto _ : state) benchmark::DoNotOptimize(::stat(path.c_str(), &figures));
}
BENCHMARK(CachedPath_baseline_stat);

void CachedPath_warm_hit(benchmark::State& state) {
  ownHome();
  for (auto _ : state) {
    if (ZORFingerPrint::sharedInstance()->getFingerprint(nullptr).empty()) {
      state.SkipWithError("nothing is cached");
    }
  }
}
BENCHMARK(CachedPath_warm_hit);

}  // namespace
}  // namespace zor::bench
