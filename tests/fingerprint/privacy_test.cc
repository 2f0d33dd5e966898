// What the person at the machine decides: consent, and erasing what is kept.
#include <ZORFingerPrint/ZORFingerPrint.h>
#include <ZORFingerPrint/ZORFingerPrintC.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <map>
#include <set>

#include "consent/consent.h"
#include "fingerprint/local_data.h"
#include "support/json_codec.h"
#include "tests/fakes/temporary_folder.h"
#include "tests/transport/scripted_network.h"

namespace zor {
namespace {

using testing::ScriptedNetwork;
using testing::ScriptedURLLoading;

std::set<std::string> filesUnder(const std::string& folder) {
  std::set<std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file() && entry.path().extension() != ".lock") files.insert(entry.path());
  }
  return files;
}

// Nothing to compare where the system's own threads come and go.
std::size_t threads() {
  if (!std::filesystem::exists("/proc/self/task")) return 0;
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

using Outcomes = std::map<std::string, ZORErasureOutcome>;

Outcomes outcomesOf(const std::vector<ZORErasedItem>& items) {
  Outcomes outcomes;
  for (const ZORErasedItem& item : items) outcomes[item.name] = item.outcome;
  return outcomes;
}

// The names of what is kept now.
std::set<std::string> kept() {
  std::set<std::string> names;
  for (const auto& [name, outcome] : outcomesOf(ZORFingerPrint::eraseLocalData(/*dryRun=*/true))) {
    if (outcome == ZORErasureOutcome::wouldBeRemoved) names.insert(name);
  }
  return names;
}

void requireConsent(bool required) {
  ZORConfig config;
  config.setConsentRequired(required);
  ZORFingerPrint::setWithConfig(config);
}

class PrivacyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto data = ZORValue::dictionary({{literals::kAnswerFingerprintKey.str(), "fp"},
                                            {literals::kAnswerExpiryKey.str(), 1},
                                            {literals::kAnswerLifetimeKey.str(), 100}});
    network.set(
        literals::kFingerprintURL.str(),
        ScriptedURLLoading::status(
            200, jsonForDisplay(ZORValue::dictionary({{literals::kAnswerStatusKey.str(), 0},
                                                      {literals::kAnswerDataKey.str(), data}}))));
    const ZORValue backup = testing::json(R"([{"code":"accept","lists":"{}"}])");
    network.set(literals::kBackupURL.str(),
                ScriptedURLLoading::status(200, jsonForDisplay(backup)));
    ZORFingerPrint::eraseLocalData();  // What the process remembers of another machine.
  }
  void TearDown() override {
    ScriptedNetwork::drain();
    requireConsent(false);
  }

  // "fp", or the code of the error; "" when there was no call yet.
  std::string ask() {
    std::string outcome;
    facade->getFingerprint(
        [&outcome](bool success, const ZORFingerprintError& error, const std::string& fingerprint) {
          const auto* known = std::get_if<ZORError>(&error);
          outcome = success ? fingerprint : known != nullptr ? std::to_string(known->code) : "?";
        });
    ScriptedNetwork::drain();
    return outcome;
  }
  // Leaves one of each thing behind.
  void keepEverything() {
    ZORFingerPrint::setConsent(ZORConsent::given);
    EXPECT_EQ(ask(), "fp");
    ZORSecPingback::sendWithError(0, "test", "a failure");
    EXPECT_GT(GetPingbackStore()->fileSize(), 0U);
  }

  ScriptedNetwork network;
  std::shared_ptr<ZORFingerPrint> facade = ZORFingerPrint::create();
};

const std::set<std::string> kEverything = {"backup-list",
                                           "cached-fingerprint",
                                           "consent",
                                           "failure-records",
                                           "installation-identifier",
                                           "last-request",
                                           "shared-identifier-copy",
                                           "shared-identifier-slot",
                                           "store-file"};

TEST_F(PrivacyTest, WithoutPermissionNothingIsCollectedKeptOrSentAndNoThreadStarts) {
  const auto filesBefore = filesUnder(network.machine.root);
  const std::size_t threadsBefore = threads();
  for (const auto& [required, consent] :
       {std::pair(true, ZORConsent::unknown), std::pair(true, ZORConsent::refused),
        std::pair(false, ZORConsent::refused)}) {
    requireConsent(required);
    EXPECT_EQ(ZORFingerPrint::setConsent(consent), std::nullopt);
    std::string outcome;
    EXPECT_EQ(facade->getFingerprint([&](bool, const ZORFingerprintError& error, const auto&) {
      outcome = std::to_string(std::get<ZORError>(error).code);
    }),
              "");
    EXPECT_EQ(outcome, "-178");
    EXPECT_EQ(facade->getEnvInfo(), std::nullopt);
    EXPECT_EQ(ZORFingerPrint::identifier(), "");
    facade->clearFingerprintCache();
    ZORSecPingback::sendWithError(0, "test", "a failure");
    EXPECT_LE(threads(), threadsBefore);
    EXPECT_EQ(filesUnder(network.machine.root), filesBefore);
    EXPECT_TRUE(network.machine.pasteboards.boards.empty());
    EXPECT_TRUE(network.machine.urlLoading.requests().empty());
    EXPECT_EQ(network.machine.pasteboards.looks, 0);
  }
  requireConsent(true);
  ZORFingerPrint::setConsent(ZORConsent::given);
  EXPECT_EQ(ask(), "fp");
}

TEST_F(PrivacyTest, ARefusalErasesAllButItself) {
  requireConsent(true);
  keepEverything();
  const std::string identifier = ZORFingerPrint::identifier();
  EXPECT_EQ(kept(), kEverything);
  EXPECT_EQ(ZORFingerPrint::setConsent(ZORConsent::refused), std::nullopt);
  EXPECT_EQ(kept(), std::set<std::string>{"consent"});
  EXPECT_TRUE(network.machine.pasteboards.boards.empty());
  EXPECT_EQ(ask(), "-178");

  ZORFingerPrint::setConsent(ZORConsent::given);
  EXPECT_NE(ZORFingerPrint::identifier(), identifier);
}

TEST_F(PrivacyTest, ARefusalEndsTheRequestUnderWayWithoutAFurtherStep) {
  for (const bool answered : {true, false}) {
    if (!answered) network.set(literals::kFingerprintURL.str(), ScriptedURLLoading::unreachable());
    ZORFingerPrint::setConsent(ZORConsent::given);
    const std::size_t before = network.urls().size();
    network.onRequest([](const std::string& url) {
      if (url == literals::kFingerprintURL.view()) ZORFingerPrint::setConsent(ZORConsent::refused);
    });
    EXPECT_EQ(ask(), "-178");
    EXPECT_EQ(network.urls().size(), before + 1);
    EXPECT_EQ(kept(), std::set<std::string>{"consent"});
  }
}

// Defaults that end the program at the given change.
class EndingDefaults final : public DefaultsPort {
 public:
  struct End {};

  explicit EndingDefaults(DefaultsPort& real) : _real(real) {}
  Reading<Values> read(const std::vector<std::string>& keys) override { return _real.read(keys); }
  Status change(const std::vector<Change>& changes) override {
    if (changesLeft-- == 0) throw End();
    return _real.change(changes);
  }
  Status removeIfStill(const std::vector<std::string>& keys, const Values& seen) override {
    return _real.removeIfStill(keys, seen);
  }
  int changesLeft = 0;

 private:
  DefaultsPort& _real;
};

TEST_F(PrivacyTest, AnErasureThatWasCutShortIsFinishedByTheNext) {
  EndingDefaults defaults(network.machine.defaults);
  int cuts = 0;
  for (bool finished = false; !finished; ++cuts) {
    keepEverything();
    const ScopedPorts scope(ports().with(defaults));
    defaults.changesLeft = cuts;
    try {
      ZORFingerPrint::eraseLocalData();
      finished = true;
    } catch (const EndingDefaults::End&) {
      defaults.changesLeft = -1;
      ZORFingerPrint::eraseLocalData();
    }
    EXPECT_EQ(kept(), std::set<std::string>()) << "after " << cuts << " changes";
  }
  EXPECT_GT(cuts, 5);
}

TEST_F(PrivacyTest, WhatCannotBeErasedIsNamedWithItsReasonAndTheRestGoes) {
  keepEverything();
  network.machine.files.diskFull = true;
  const std::string slot = network.machine.pasteboards.boards.begin()->first;
  network.machine.pasteboards.unreadable[slot] = EIO;
  const auto error = ZORFingerPrint::setConsent(ZORConsent::refused);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, ZOR_FINGERPRINT_ERROR_NOT_ERASED);
  EXPECT_NE(error->localizedDescription.find("store-file: cannot remove"), std::string::npos);
  // A copy that went without its slot would leave the slot behind for good.
  EXPECT_EQ(kept(), (std::set<std::string>{"consent", "failure-records", "shared-identifier-copy",
                                           "shared-identifier-slot", "store-file"}));
  network.machine.files.diskFull = false;
  network.machine.pasteboards.unreadable.clear();
  EXPECT_EQ(ZORFingerPrint::setConsent(ZORConsent::refused), std::nullopt);
  EXPECT_EQ(kept(), std::set<std::string>{"consent"});
}

TEST_F(PrivacyTest, TheCInterfaceTakesOnlyAClearYes) {
  zor_fingerprint_require_consent(1);
  EXPECT_EQ(zor_fingerprint_is_permitted(), 0);
  EXPECT_EQ(zor_fingerprint_set_consent(ZOR_FINGERPRINT_CONSENT_GIVEN), nullptr);
  EXPECT_EQ(zor_fingerprint_is_permitted(), 1);
  EXPECT_EQ(zor_fingerprint_set_consent(17), nullptr);
  EXPECT_EQ(zor_fingerprint_consent(), ZOR_FINGERPRINT_CONSENT_REFUSED);
  char* const answer = zor_fingerprint_erase(0);
  const ZORValue items = testing::json(answer);
  zor_fingerprint_free(answer);
  EXPECT_EQ(items[items.size() - 1]["item"], "consent");
  EXPECT_EQ(items[items.size() - 1]["outcome"], "removed");
  EXPECT_EQ(zor_fingerprint_consent(), ZOR_FINGERPRINT_CONSENT_UNKNOWN);
}

}  // namespace
}  // namespace zor
