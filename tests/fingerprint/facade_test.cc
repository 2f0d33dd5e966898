#include <ZORFingerPrint/ZORFingerPrint.h>
#include <ZORFingerPrint/ZORFingerPrintC.h>
#include <gtest/gtest.h>

#include <atomic>
#include <tuple>

#include "crypto/request_signature.h"
#include "store/dfp_cache.h"
#include "store/dfp_store.h"
#include "support/json_codec.h"
#include "support/text.h"
#include "tests/fakes/child_process.h"
#include "tests/transport/scripted_network.h"

namespace zor {
namespace {

using testing::CompletionsHeld;
using testing::ScriptedNetwork;
using testing::ScriptedURLLoading;

std::string accepted(const std::string& fingerprint, int lifetimeSeconds = 100) {
  const auto data = ZORValue::dictionary({{literals::kAnswerFingerprintKey.str(), fingerprint},
                                          {literals::kAnswerExpiryKey.str(), 1},
                                          {literals::kAnswerLifetimeKey.str(), lifetimeSeconds}});
  return jsonForDisplay(ZORValue::dictionary(
      {{literals::kAnswerStatusKey.str(), 0}, {literals::kAnswerDataKey.str(), data}}));
}

void serve(ScriptedNetwork& network, const std::string& body, int status = 200) {
  network.set(literals::kFingerprintURL.str(), ScriptedURLLoading::status(status, body));
}

std::string refusal() {
  return jsonForDisplay(ZORValue::dictionary({{literals::kAnswerStatusKey.str(), 7}}));
}

class FacadeTest : public ::testing::Test {
 protected:
  std::vector<URLRequest> requests() {
    std::vector<URLRequest> sent;
    for (const URLRequest& request : network.machine.urlLoading.requests()) {
      if (request.url == literals::kFingerprintURL.view()) sent.push_back(request);
    }
    return sent;
  }
  // Records the outcomes in the order of the calls.
  ZORFingerprintCallback noting(const std::string& name) {
    return [this, name](bool success, const ZORFingerprintError&, const std::string& fingerprint) {
      outcomes.push_back(name + (success ? " " : " failed ") + fingerprint);
    };
  }
  void putValid(const std::string& fingerprint) {
    storeFingerprint(ZORValue::dictionary({{literals::kAnswerFingerprintKey.str(), fingerprint},
                                           {literals::kAnswerLifetimeKey.str(), 100}}));
  }

  ScriptedNetwork network;
  std::vector<std::string> outcomes;
  std::shared_ptr<ZORFingerPrint> facade = ZORFingerPrint::create();
};

TEST_F(FacadeTest, CallersShareTheRequestInFlightAndHearInOrder) {
  serve(network, accepted("fp-1"));
  {
    const CompletionsHeld held;
    EXPECT_EQ(facade->getFingerprint(noting("a")), "");
    EXPECT_EQ(facade->getFingerprint(), "");
    EXPECT_EQ(facade->getFingerprint(noting("b")), "");
  }
  ScriptedNetwork::drain();
  EXPECT_EQ(outcomes, (std::vector<std::string>{"a fp-1", "b fp-1"}));
  EXPECT_EQ(requests().size(), 1U);

  EXPECT_EQ(facade->getFingerprint(noting("hit")), "fp-1");
  EXPECT_EQ(outcomes.back(), "hit fp-1");
  network.machine.clock.advance(100.5);
  EXPECT_EQ(facade->getFingerprint(), "");
  ScriptedNetwork::drain();
  EXPECT_EQ(requests().size(), 2U);
}

TEST_F(FacadeTest, TheRequestCarriesTheSignedReport) {
  serve(network, accepted("fp"));
  facade->getFingerprint();
  ScriptedNetwork::drain();
  ASSERT_EQ(requests().size(), 1U);
  const URLRequest request = requests().front();
  EXPECT_EQ(request.timeoutSeconds, 10.0);
  EXPECT_EQ(request.method, literals::kFingerprintMethod.view());
  const ZORValue body = testing::json(textOf(request.body));
  EXPECT_EQ(body.size(), 5U);
  const std::string report = *body[literals::kBodyEnvironmentKey.view()].text();
  EXPECT_EQ(body[literals::kBodySignatureKey.view()], calcSignature(report).value());
  EXPECT_EQ(body[literals::kBodyReservedKey.view()], "");
  EXPECT_EQ(testing::json(textOf(ports().crypto.base64Decode(report).value())).size(), 23U);
}

TEST_F(FacadeTest, AFingerprintThatCannotBeStoredStillReachesTheCallbacks) {
  serve(network, accepted("fp"));
  network.machine.defaults.outOfMemory = true;
  for (const char* caller : {"a", "b"}) {
    EXPECT_EQ(facade->getFingerprint(noting(caller)), "");
    ScriptedNetwork::drain();
  }
  EXPECT_EQ(outcomes, (std::vector<std::string>{"a fp", "b fp"}));
}

TEST_F(FacadeTest, ACallbackMayAskAgainAndSeesTheNewFingerprint) {
  serve(network, accepted("fp-new"));
  std::string seen;
  facade->getFingerprint([this, &seen](bool, const auto&, const auto&) {
    seen = facade->getFingerprint(noting("again"));
  });
  ScriptedNetwork::drain();
  EXPECT_EQ(seen, "fp-new");
  EXPECT_EQ(outcomes, std::vector<std::string>{"again fp-new"});
}

TEST_F(FacadeTest, ACallbackThatThrowsStopsNoOther) {
  serve(network, accepted("fp"));
  const auto throwing = [](bool, const auto&, const auto&) { throw 5; };
  facade->getFingerprint(throwing);
  facade->getFingerprint(noting("next"));
  ScriptedNetwork::drain();
  EXPECT_EQ(outcomes, std::vector<std::string>{"next fp"});
  EXPECT_EQ(facade->getFingerprint(throwing), "fp");
}

TEST_F(FacadeTest, ACallbackMayClearTheVariableThatHoldsIt) {
  putValid("fp");
  const std::string large(100, 'x');  // Allocated on the heap, where a sanitizer sees it freed.
  ZORFingerprintCallback once = [this, &once, large](bool, const auto&, const auto& fingerprint) {
    once = nullptr;
    outcomes.push_back(fingerprint + large);
  };
  facade->getFingerprint(once);
  EXPECT_EQ(outcomes, std::vector<std::string>{"fp" + large});
}

// Defaults to which another thread adds a fingerprint right after they were read for the n-th time.
class DefaultsStoredIntoAfterRead final : public DefaultsPort {
 public:
  DefaultsStoredIntoAfterRead(DefaultsPort& real, int read) : _real(real), _readsLeft(read) {}

  Reading<Values> read(const std::vector<std::string>& keys) override {
    auto values = _real.read(keys);
    if (keys == cacheKeys() && --_readsLeft == 0) store();
    return values;
  }
  Status change(const std::vector<Change>& changes) override { return _real.change(changes); }
  Status removeIfStill(const std::vector<std::string>& keys, const Values& seen) override {
    return _real.removeIfStill(keys, seen);
  }

 private:
  static void store() {
    storeFingerprint(ZORValue::dictionary({{literals::kAnswerFingerprintKey.str(), "stored"},
                                           {literals::kAnswerLifetimeKey.str(), 100}}));
  }
  DefaultsPort& _real;
  int _readsLeft;
};

TEST_F(FacadeTest, AFingerprintStoredBetweenALookAndTheClearingIsNotLost) {
  for (const int read : {1, 2}) {
    facade->clearFingerprintCache();
    DefaultsStoredIntoAfterRead defaults(network.machine.defaults, read);
    const ScopedPorts scope(ports().with(defaults));
    facade->getFingerprint(noting("a"));
    ScriptedNetwork::drain();  // The service cannot be reached.
    EXPECT_EQ(facade->getFingerprint(), "stored") << read;
    GetPingbackStore()->fileSize();  // An upload that a call began uses the ports too.
    ScriptedNetwork::drain();
  }
  EXPECT_EQ(outcomes, (std::vector<std::string>{"a stored", "a failed "}));
}

TEST_F(FacadeTest, AFailureIsReportedAndTheNextCallerTriesAgain) {
  serve(network, refusal());
  ZORFingerprintError given;
  facade->getFingerprint([&given](bool, const auto& error, const auto&) { given = error; });
  ScriptedNetwork::drain();
  EXPECT_EQ(std::get<ZORValue>(given), testing::json(refusal()));
  EXPECT_EQ(facade->lastFailure().reason, ZOR_FINGERPRINT_REASON_REFUSED);
  EXPECT_EQ(facade->lastFailure().httpStatus, 200);
  EXPECT_EQ(facade->lastFailure().route, ZOR_FINGERPRINT_ROUTE_NAME);
  std::vector<std::string> types;  // Of class 0; the backup list fails too.
  const ZORValue records = testing::json(GetPingbackStore()->readStr().content().value_or(""));
  for (const ZORValue& record : records.elements()) {
    if (record[literals::kPingbackErrorClassKey.view()] != 0) continue;
    types.push_back(*record[literals::kPingbackErrorTypeKey.view()].text());
  }
  EXPECT_EQ(types, std::vector<std::string>{literals::kPingbackTypeRequestFailed.str()});

  serve(network, accepted("fp"));
  facade->getFingerprint(noting("second"));
  ScriptedNetwork::drain();
  EXPECT_EQ(outcomes, std::vector<std::string>{"second fp"});
  EXPECT_EQ(facade->lastFailure().reason, ZOR_FINGERPRINT_REASON_NONE);
}

TEST_F(FacadeTest, AnExpiredFingerprintIsForgottenBeforeTheRequest) {
  putValid("old");
  network.machine.clock.advance(101);
  EXPECT_EQ(facade->getFingerprint(noting("a")), "");
  ScriptedNetwork::drain();  // The service cannot be reached.
  EXPECT_EQ(outcomes, std::vector<std::string>{"a failed "});
  EXPECT_EQ(cachedFingerprint(), std::nullopt);
}

TEST_F(FacadeTest, ValidTimesWithoutAFingerprintGiveAnEmptySuccessOnce) {
  putValid("fp");
  const std::string key = dfp_slot_key(literals::kFingerprintSlot.view());
  network.machine.defaults.setObject(key, 12.0);
  std::ignore = dfp_store_write(key, std::nullopt);
  EXPECT_EQ(facade->getFingerprint(noting("a")), "");
  EXPECT_EQ(outcomes, std::vector<std::string>{"a "});
  EXPECT_TRUE(requests().empty());
  EXPECT_TRUE(is_dfp_expired());
}

TEST_F(FacadeTest, AReleasedInstanceCallsNobody) {
  serve(network, accepted("fp"));
  {
    const CompletionsHeld held;
    facade->getFingerprint(noting("a"));
    facade.reset();
  }
  ScriptedNetwork::drain();
  EXPECT_TRUE(outcomes.empty());
}

TEST_F(FacadeTest, AnEmptyStorePathKeepsTheEarlierOne) {
  ZORConfig config;
  config.setStorePath(network.machine.root + "/elsewhere");
  ZORFingerPrint::setWithConfig(config);
  for (const char* path : {"", static_cast<const char*>(nullptr)}) {
    config.setStorePath(path);
    ZORFingerPrint::setWithConfig(config);
  }
  EXPECT_EQ(storeFilePath(), network.machine.root + "/elsewhere/" + literals::kStoreFileName.str());
}

TEST_F(FacadeTest, ALogHandlerMayCallTheLibrary) {
  std::atomic<int> lines{0};
  ZORSetLogHandler([this, &lines](const std::string&) {
    if (++lines == 1) facade->getFingerprint(noting("from the handler"));
  });
  facade->getFingerprint();  // Logs that the store file was created.
  ScriptedNetwork::drain();
  ZORSetLogHandler({});
  EXPECT_GT(lines, 0);
  EXPECT_EQ(outcomes, std::vector<std::string>{"from the handler failed "});
}

// The shared instance keeps the network of its first use: these run in processes of their own.

TEST(SharedInstanceTest, TheChildOfAForkAsksAfreshAndLeavesTheParentsCallbacks) {
  ZOR_SKIP_WHERE_BUSY_PROCESSES_CANNOT_FORK();
  EXPECT_EQ(testing::inChildProcess([] {
              ScriptedNetwork network;
              serve(network, accepted("fp"));
              std::atomic<int> parents{0};
              int inChild = -1;
              const auto another = ZORFingerPrint::create();
              const auto ask = [&another](std::atomic<int>& calls) {
                for (const auto& instance : {ZORFingerPrint::sharedInstance(), another}) {
                  instance->getFingerprint([&calls](bool success, const auto&, const auto&) {
                    calls += success ? 1 : 9;
                  });
                }
              };
              {
                const CompletionsHeld held;
                ask(parents);
                inChild = testing::inChildProcess([&parents, &ask] {
                  std::atomic<int> own{0};
                  ask(own);
                  ScriptedNetwork::drain();
                  return parents == 0 && own == 2 ? 0 : 1;
                });
              }
              ScriptedNetwork::drain();
              return inChild == 0 && parents == 2 ? 0 : 1 + inChild;
            }),
            0);
}

TEST(SharedInstanceTest, TheCInterfaceTellsRefusalsFromFingerprints) {
  EXPECT_EQ(testing::inChildProcess([] {
              ScriptedNetwork network;
              static std::string seen;
              const auto note = [](void* context, int success, const zor_fingerprint_error* error,
                                   const char* fingerprint) {
                *static_cast<int*>(context) += 1;
                seen += std::to_string(success) + fingerprint;
                if (error == nullptr) return;
                if (error->domain == nullptr) seen += error->answer;
                seen += std::to_string(error->reason);
              };
              int calls = 0;
              serve(network, refusal());
              zor_fingerprint_free(zor_fingerprint_get(note, &calls));
              ScriptedNetwork::drain();
              serve(network, accepted("fp"));
              zor_fingerprint_free(zor_fingerprint_get(nullptr, nullptr));
              ScriptedNetwork::drain();
              char* hit = zor_fingerprint_get(note, &calls);
              const bool right =
                  calls == 2 && std::string(hit) == "fp" && seen == "0" + refusal() + "51fp";
              zor_fingerprint_free(hit);
              return right ? 0 : 1;
            }),
            0);
}

}  // namespace
}  // namespace zor
