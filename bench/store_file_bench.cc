// The encrypted store file, beside a plain file of the same size.
#include <benchmark/benchmark.h>

#include <tuple>

#include "bench/cached_home.h"
#include "platform/ports.h"
#include "store/dfp_store.h"
#include "support/text.h"

namespace zor::bench {
namespace {

constexpr char kSlot[] = "bench";

// A store with one entry, and its bytes.
Data storedBytes() {
  ownHome();
  std::ignore = dfp_store_write(kSlot, "a-fingerprint-of-the-usual-length-0123456789abcdef");
  return *ports().files.read(storeFilePath().value());
}

void StoreFile_baseline_plain_read(benchmark::State& state) {
  const std::string path = ownHome().folder() + "/plain";
  std::ignore = ports().files.writeAtomically(path, storedBytes());
  for (auto _ : state) benchmark::DoNotOptimize(ports().files.read(path));
}
BENCHMARK(StoreFile_baseline_plain_read);

void StoreFile_read(benchmark::State& state) {
  storedBytes();
  for (auto _ : state) {
    if (!dfp_store_read(kSlot)) state.SkipWithError("nothing is stored");
  }
}
BENCHMARK(StoreFile_read);

void StoreFile_baseline_plain_atomic_replace(benchmark::State& state) {
  const std::string path = ownHome().folder() + "/plain";
  const Data bytes = storedBytes();
  for (auto _ : state) {
    if (!ports().files.writeAtomically(path, bytes).isSuccess()) state.SkipWithError("not written");
  }
}
BENCHMARK(StoreFile_baseline_plain_atomic_replace)->UseRealTime();

void StoreFile_write(benchmark::State& state) {
  storedBytes();
  std::uint64_t round = 0;  // An unchanged value is not written again.
  for (auto _ : state)
    std::ignore = dfp_store_write(kSlot, "a-fingerprint-" + std::to_string(++round));
  if (!dfp_store_read(kSlot)) state.SkipWithError("nothing is stored");
}
BENCHMARK(StoreFile_write)->UseRealTime();

}  // namespace
}  // namespace zor::bench
