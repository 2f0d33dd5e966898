// Appending one record to the file of failure records.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "pingback/ZORSecPingbackStore.h"
#include "platform/ports.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor::bench {
namespace {

ZORValue record() {
  return ZORValue::dictionary(
      {{"library", "zorfingerprint"},
       {"version", "1.1.0"},
       {"application", "org.example"},
       {"applicationVersion", "2.5"},
       {"class", 1},
       {"type", "request_error"},
       {"description", "status:0 domain:NSURLErrorDomain code:-1004 text:no route to the host"}});
}

// A file of records, a little smaller than `sizeBytes`, in its own folder.
class RecordFile {
 public:
  explicit RecordFile(std::int64_t sizeBytes) {
    std::string pattern = std::filesystem::temp_directory_path() / "zor-bench-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    _folder = pattern;
    const std::size_t recordBytes = jsonForDisplay(record()).size() + 1;
    ZORValue records = ZORValue::array();
    while ((records.size() + 2) * recordBytes < static_cast<std::size_t>(sizeBytes)) {
      records.append(record());
    }
    _content = jsonForDisplay(records);
    reset();
  }
  ~RecordFile() { std::filesystem::remove_all(_folder); }
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  const std::string& folder() const { return _folder; }
  std::string path() const { return _folder + "/records"; }
  void reset() const { std::ofstream(path(), std::ios::binary) << _content; }

 private:
  std::string _folder;
  std::string _content;
};

std::string readAll(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// An append that parses and writes out the whole file; nothing is locked, synchronized or renamed.
void Pingback_baseline_parse_serialize_write(benchmark::State& state) {
  const RecordFile file(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    file.reset();
    state.ResumeTiming();
    ZORValue records = ZORValue::orNull(valueFromJson(readAll(file.path())));
    records.append(record());
    std::ofstream(file.path(), std::ios::binary | std::ios::trunc) << jsonForDisplay(records);
  }
}
BENCHMARK(Pingback_baseline_parse_serialize_write)->Arg(1000)->Arg(500000);

// The cost of a change that survives a power cut on this disk.
void Pingback_baseline_durable_write(benchmark::State& state) {
  const RecordFile file(state.range(0));
  const Data bytes = utf8Bytes(readAll(file.path()));
  for (auto _ : state) {
    if (!ports().files.writeAtomically(file.path(), bytes).isSuccess())
      state.SkipWithError("not written");
  }
}
BENCHMARK(Pingback_baseline_durable_write)->Arg(1000)->Arg(500000);

void Pingback_append(benchmark::State& state) {
  const RecordFile file(state.range(0));
  const auto store =
      ZORSecPingbackStore::create(std::make_shared<ZORSecFileUti>("records", file.folder()));
  for (auto _ : state) {
    state.PauseTiming();
    file.reset();
    const auto before = std::filesystem::file_size(file.path());
    state.ResumeTiming();
    store->writeDictionary(record(), false);
    state.PauseTiming();
    if (std::filesystem::file_size(file.path()) <= before) state.SkipWithError("disk too full");
    state.ResumeTiming();
  }
}
BENCHMARK(Pingback_append)->Arg(1000)->Arg(500000);

// The time that reporting a failure takes for its caller.
void Pingback_report(benchmark::State& state) {
  const RecordFile file(1000);
  const auto store =
      ZORSecPingbackStore::create(std::make_shared<ZORSecFileUti>("records", file.folder()));
  for (auto _ : state) {
    store->writeDictionary(record(), true);
    state.PauseTiming();
    benchmark::DoNotOptimize(store->fileSize());
    file.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(Pingback_report);

}  // namespace
}  // namespace zor::bench
