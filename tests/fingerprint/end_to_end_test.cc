// The main path over TLS: a cache miss, the request, the callbacks, the cache.
#include <ZORFingerPrint/ZORFingerPrint.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <thread>

#include "literals/literals.h"
#include "sandbox/sandbox_service.h"
#include "store/dfp_cache.h"
#include "store/dfp_store.h"
#include "tests/fakes/child_process.h"
#include "tests/fakes/fake_ports.h"
#include "tests/fakes/real_network.h"
#include "tests/fakes/temporary_folder.h"
#include "tests/transport/scripted_network.h"

namespace zor {
namespace {

using sandbox::Ending;
using sandbox::Route;
using testing::CompletionsHeld;

class EndToEnd : public ::testing::Test {
 protected:
  // A host that starts on this machine.
  struct Host {
    explicit Host(EndToEnd& test) : network(test.service.connectTo()) {}

    const testing::RealNetwork network;
    const std::shared_ptr<ZORFingerPrint> library = ZORFingerPrint::create();
  };

  void SetUp() override {
    const auto problem = service.start();
    ASSERT_FALSE(problem.has_value()) << *problem;
    ::setenv("SSL_CERT_FILE", service.caFile().c_str(), 1);
    service.changeSettings([](sandbox::SandboxSettings& settings) {
      settings.bundleVersions = {{"org.example.host", "250"}};
    });
  }
  void TearDown() override { ::unsetenv("SSL_CERT_FILE"); }

  // The fingerprint that the callback gets; "-" after a failure.
  static std::string ask(const Host& host) {
    const auto outcome = std::make_shared<std::promise<std::string>>();
    host.library->getFingerprint(
        [outcome](bool success, const auto&, const std::string& fingerprint) {
          outcome->set_value(success ? fingerprint : "-");
        });
    auto answer = outcome->get_future();
    const auto state = answer.wait_for(std::chrono::seconds(60));
    return state == std::future_status::ready ? answer.get() : "no answer";
  }
  std::size_t requests() { return service.received(Route::name).size(); }

  sandbox::SandboxService service;
  testing::FakeMachine machine;
};

TEST_F(EndToEnd, AReportGoesOutSignedAndSealedAndItsFingerprintLasts) {
  std::string fingerprint;
  {
    const Host host(*this);
    fingerprint = ask(host);
    ASSERT_EQ(requests(), 1U);
    const ZORValue details = service.received(Route::name)[0].details;
    EXPECT_EQ(details["fingerprint"], fingerprint);
    EXPECT_EQ(details["report"].size(), 23U);
    EXPECT_EQ(details["bundleVersion"], "250");
    EXPECT_EQ(host.library->getFingerprint(), fingerprint);
  }
  EXPECT_EQ(ask(Host(*this)), fingerprint);
  // The store file still has what was removed from the user defaults.
  const std::string slot = dfp_slot_key(literals::kFingerprintSlot.view());
  machine.defaults.removeObject(slot);
  EXPECT_EQ(ask(Host(*this)), fingerprint);
  EXPECT_EQ(requests(), 1U);

  machine.clock.advance(86400.5);
  EXPECT_EQ(ask(Host(*this)), fingerprint);
  EXPECT_EQ(requests(), 2U);
}

TEST_F(EndToEnd, AHundredThreadsShareOneExchange) {
  const Host host(*this);
  std::atomic<int> calls[100] = {};
  std::vector<std::thread> threads;
  {
    const CompletionsHeld held;
    for (int index = 0; index < 100; ++index) {
      threads.emplace_back([&host, &calls, index] {
        if (index % 3 == 0) return static_cast<void>(host.library->getFingerprint());
        host.library->getFingerprint([&calls, index](bool success, const auto&, const auto&) {
          calls[index] += success ? 1 : 100;
        });
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_NE(ask(host), "-");
  zor_httpsOperationQueue().waitUntilAllOperationsAreFinished();
  for (int index = 0; index < 100; ++index)
    EXPECT_EQ(calls[index], index % 3 == 0 ? 0 : 1) << index;
  EXPECT_EQ(requests(), 1U);
}

TEST_F(EndToEnd, AHostileAnswerFailsAndTheNextCallerIsServed) {
  const Host host(*this);
  const sandbox::Script rows[] = {
      {.body = ""},
      {.body = "<html>"},
      {.body = "[]"},
      {.body = std::string(100000, '[')},
      {.body = std::string(17 << 20, ' ')},
      {.body = std::string("{\"resultCode\":0}\0", 17)},
      {.ending = Ending::cutBody},
  };
  // When the exchange itself fails, no other route may rescue it.
  for (const Route route : {Route::bootstrap, Route::backupService}) {
    service.script({.route = route}, {.status = 500});
  }
  for (const auto& row : rows) {
    service.script({.route = Route::name}, row);
    EXPECT_EQ(ask(host), "-") << row.body.value_or("cut").substr(0, 40);
    EXPECT_EQ(cachedFingerprint(), std::nullopt);
  }
  service.clearScripts();
  EXPECT_NE(ask(host), "-");
}

TEST_F(EndToEnd, EveryChildOfAForkDuringTheVeryFirstCallCompletesOne) {
  ZOR_SKIP_WHERE_BUSY_PROCESSES_CANNOT_FORK();
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer lets no thread start in the child of a fork";
#endif
  const int kTries = 60;
  for (int number = 0; number < kTries; ++number) {
    const std::string home = machine.root + "/home" + std::to_string(number);
    std::filesystem::create_directory(home);
    const std::string port = number % 3 == 0 ? "0" : std::to_string(service.port());
    const std::string command = "HOME=" + home + " " ZOR_TEST_BINARY_DIR "/bin/zor_forking_host " +
                                port + " " + std::to_string(number * 500) + " 2>>" + home + "/log";
    EXPECT_EQ(std::system(command.c_str()), 0) << number << testing::readText(home + "/log");
  }
}

}  // namespace
}  // namespace zor
