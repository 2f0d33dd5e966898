// The computations for one request and the store file, compared with the bare operations.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "collector/sealed_block.h"
#include "crypto/request_signature.h"
#include "literals/literals.h"
#include "platform/ports.h"
#include "store/dfp_store.h"
#include "support/text.h"

namespace zor::bench {
namespace {

constexpr std::size_t kReportBytes = 4096;

void Sealing_baseline_bare_ciphers(benchmark::State& state) {
  CryptoPort& crypto = ports().crypto;
  const Data report(kReportBytes, 'r');
  const AesKey key{};
  const AesBlock vector{};
  for (auto _ : state) {
    benchmark::DoNotOptimize(crypto.aes128Cbc(CipherOperation::encrypt, key, vector, report));
    const std::string text = crypto.base64Encode(report);
    benchmark::DoNotOptimize(crypto.hmacSha1(Data(40, 'k'), utf8Bytes(text)));
  }
}
BENCHMARK(Sealing_baseline_bare_ciphers)->Unit(benchmark::kMicrosecond);

void Sealing_seal_sign_and_encode(benchmark::State& state) {
  const std::string report(kReportBytes, 'r');
  const AesKey key{};
  for (auto _ : state) {
    benchmark::DoNotOptimize(sealText(report, key));
    benchmark::DoNotOptimize(calcSignature(ports().crypto.base64Encode(utf8Bytes(report))));
  }
}
BENCHMARK(Sealing_seal_sign_and_encode)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace zor::bench
