// zorfp as a user runs it: in its own process, against the sandbox over TLS.
#include <ZORFingerPrint/ZORErrors.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>

#include "literals/literals.h"
#include "sandbox/sandbox_service.h"
#include "support/json_codec.h"
#include "tests/fakes/fake_ports.h"
#include "tests/fakes/temporary_folder.h"

namespace zor {
namespace {

using sandbox::Ending;
using sandbox::Route;

struct ProgramRun {
  int exitStatus = -1;
  std::string output;
  std::string diagnostics;  // What it wrote to standard error.

  ZORValue json() const { return testing::json(output); }
};

class Zorfp : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto problem = service.start();
    ASSERT_FALSE(problem) << *problem;
  }

  // Runs zorfp with those arguments in its own home. `environment`: settings that override
  // the usual ones, as the shell reads them.
  ProgramRun run(const std::string& arguments, const std::string& environment = "") {
    std::string command = "env -i PATH=/usr/bin:/bin HOME=" + home.path +
                          " SSL_CERT_FILE=" + service.caFile().string() + " ZORFP_CONNECT_TO=";
    for (const std::string& entry : service.connectTo()) command += entry + ",";
    const std::string diagnostics = home.file("diagnostics");
    command += " " + environment + " " ZOR_TEST_BINARY_DIR "/bin/zorfp " + arguments;
    command += " 2>" + diagnostics;
    ProgramRun outcome;
    FILE* pipe = ::popen(command.c_str(), "r");
    char buffer[4096];
    for (std::size_t count; (count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
      outcome.output.append(buffer, count);
    }
    const int status = ::pclose(pipe);
    outcome.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.diagnostics = testing::readText(diagnostics);
    return outcome;
  }

  ZORValue uploadOutcome() { return run("pingbacks --json upload").json()["outcome"]; }

  sandbox::SandboxService service;
  testing::TemporaryFolder home;
};

TEST_F(Zorfp, FetchesOnceAndThenAnswersFromTheCache) {
  const ProgramRun first = run("fingerprint --json");
  EXPECT_EQ(first.exitStatus, 0);
  EXPECT_EQ(first.json()["cached"], false) << first.output;
  const ProgramRun second = run("fingerprint --json");
  EXPECT_EQ(second.json()["cached"], true) << second.output;
  EXPECT_EQ(second.json()["fingerprint"], first.json()["fingerprint"]);
  EXPECT_EQ(service.received(Route::name).size(), 1U);
  EXPECT_EQ(run("cache show --json").json()["valid"], true);
  EXPECT_EQ(run("cache clear").exitStatus, 0);
  EXPECT_EQ(run("cache show --json").json()["present"], false);
}

TEST_F(Zorfp, DistinguishesRefusedUnreachableAndLate) {
  service.script({.route = Route::name}, {.body = R"({"resultCode":7})"}, 1);
  const ProgramRun refused = run("fingerprint --json");
  EXPECT_EQ(refused.exitStatus, 3);
  EXPECT_EQ(refused.json()["error"]["resultCode"], 7);
  service.script({.route = Route::name}, {.ending = Ending::hang});
  const ProgramRun late = run("fingerprint --timeout 0.2 --json");
  EXPECT_EQ(late.exitStatus, 5);
  EXPECT_EQ(late.json()["error"]["code"], nullptr) << late.output;
  EXPECT_EQ(late.json()["error"]["description"], "no answer in time");
  service.script({}, {.ending = Ending::reset});
  EXPECT_EQ(run("fingerprint").exitStatus, 4);
}

TEST_F(Zorfp, RefusesWrongUsageBeforeAnythingIsSent) {
  for (const char* arguments :
       {"", "fingerprint --timeout soon", "fingerprint --timeout nan", "fingerprint --timeout=-1",
        "fingerprint --timeout inf", "report --without", "report --without serial-nummer",
        "consent maybe"}) {
    EXPECT_EQ(run(arguments).exitStatus, 2) << arguments;
  }
  EXPECT_TRUE(service.received().empty());
}

TEST_F(Zorfp, RefusesRedirectionsThatWouldBeIgnored) {
  for (const char* wrong :
       {"name.example:443:127.0.0.1", "name.example", ":::443:", "::::1:443", ":443::65536",
        ":443::-1", ":https::443", ": 443::8443", "a/b:443::8443", "[::1:443::8443", ""}) {
    const ProgramRun outcome = run("--connect-to '" + std::string(wrong) + "' version");
    EXPECT_EQ(outcome.exitStatus, 2) << wrong;
    EXPECT_NE(outcome.diagnostics.find('"' + std::string(wrong) + '"'), std::string::npos) << wrong;
  }
  EXPECT_EQ(run("version", "ZORFP_CONNECT_TO=:443::8443,typo").exitStatus, 2);
  EXPECT_EQ(run("version", "ZORFP_CONNECT_TO=,:443::8443,").exitStatus, 0);
  for (const char* right : {":443::8443", ":::", "a.example:0:[::1]:65535", "[::1]:443:b:"}) {
    EXPECT_EQ(run("--connect-to '" + std::string(right) + "' version").exitStatus, 0) << right;
  }
}

TEST_F(Zorfp, SaysWhenItsOutputCannotBeWritten) {
  for (const char* arguments : {"report --json", "cache show", "version", "--help"}) {
    const ProgramRun outcome = run(std::string(arguments) + " >/dev/full");
    EXPECT_EQ(outcome.exitStatus, 1) << arguments;
    EXPECT_NE(outcome.diagnostics.find("output"), std::string::npos) << arguments;
  }
  EXPECT_EQ(run("nonsense >/dev/full").exitStatus, 2);
}

TEST_F(Zorfp, SaysWhenAValueCannotBeStored) {
  for (const char* arguments :
       {"identifier", "machine-id", "machine-id --opt-out", "machine-id --opt-in --json"}) {
    const ProgramRun lost = run(arguments, "HOME=/dev/null");
    EXPECT_EQ(lost.exitStatus, 1) << arguments;
    EXPECT_NE(lost.diagnostics.find("could not be stored"), std::string::npos) << arguments;
    EXPECT_EQ(run(arguments).exitStatus, 0) << arguments;
  }
  EXPECT_EQ(run("identifier").output, run("identifier").output);
  // The slots alone are enough for the next run to find the same.
  EXPECT_EQ(run("machine-id", "XDG_CONFIG_HOME=/dev/null").exitStatus, 0);
  run("machine-id --opt-out");
  EXPECT_EQ(run("machine-id --json").json()["outcome"], 1);
  EXPECT_EQ(run("machine-id --opt-in --json").json()["outcome"], 0);
}

TEST_F(Zorfp, LetsNoForeignTextControlTheTerminal) {
  const std::string steering =
      "\x1b[2J\xc2\x9b"
      "1m";
  const auto data = ZORValue::dictionary({{literals::kAnswerFingerprintKey.str(), steering}});
  const auto answer = ZORValue::dictionary(
      {{literals::kAnswerStatusKey.str(), 0}, {literals::kAnswerDataKey.str(), data}});
  service.script({.route = Route::name}, {.body = jsonForDisplay(answer)}, 1);
  EXPECT_EQ(run("fingerprint").output, "\\x1b[2J\\xc2\\x9b1m  (from the service)\n");
  const std::string folder = "XDG_DATA_HOME='" + home.file(steering) + "'";
  EXPECT_EQ(run("cache show", folder).output.find(steering.substr(0, 1)), std::string::npos);
}

TEST_F(Zorfp, OpensTheSealedBlockOfItsOwnReportOnly) {
  const ZORValue report = run("report --json --unseal").json();
  EXPECT_EQ(report.size(), 23U);
  EXPECT_TRUE(report["sealedIdentity"].isDictionary());
  EXPECT_TRUE(run("report --json").json()["sealedIdentity"].isText());
}

TEST_F(Zorfp, ExplainsEachEntryAndWithholdsWhatItIsTold) {
  const std::string arguments = "report --explain --without wifi --without serial-number";
  std::map<std::string, ZORValue> accounts;
  const ZORValue explained = run(arguments + " --json").json();
  for (const ZORValue& account : explained["entries"].elements()) {
    accounts[*account["name"].text()] = account;
    // Nothing that is sealed on the wire stands there in clear.
    if (account["sealed"] == true) {
      EXPECT_EQ(account["value"], nullptr) << *account["name"].text();
    }
  }
  EXPECT_EQ(accounts.size(), 30U);
  EXPECT_EQ(accounts["wifi"]["outcome"], "withheld by the host");
  EXPECT_EQ(accounts["serial-number"]["outcome"], "withheld by the host");
  EXPECT_EQ(accounts["platform"]["value"], literals::kPlatformLabel.str());
  EXPECT_EQ(explained["summary"]["withheld"], 2);
  const auto unsealed = run(arguments + " --unseal --json").json()["entries"];
  for (const ZORValue& account : unsealed.elements()) EXPECT_EQ(account["masked"], false);

  std::istringstream lines(run(arguments, "COLUMNS=120").output);
  std::string line;
  while (std::getline(lines, line) && line.find(" entries found in ") == std::string::npos) {
    EXPECT_LE(line.size(), 120U) << line;
  }
  EXPECT_NE(line.find("2 withheld; root would add"), std::string::npos) << line;

  const auto wrong = run("report --without serial-nummer");
  EXPECT_NE(wrong.diagnostics.find("\"serial-number\""), std::string::npos) << wrong.diagnostics;
  const ZORValue report = run("report --json --unseal --without hardware-uuid").json();
  EXPECT_EQ(report.size(), 23U);
  EXPECT_EQ(report[literals::kParamSealedBlockKey.view()][literals::kSealedHardwareUUIDKey.view()],
            nullptr);
}

TEST_F(Zorfp, ShowsTheLastRequestErasesItAndHoldsToARefusal) {
  EXPECT_EQ(run("last --json").json()["askedAt"], nullptr);
  EXPECT_EQ(run("fingerprint").exitStatus, 0);
  const ZORValue last = run("last --json").json();
  EXPECT_TRUE(last["endedAt"].number()) << run("last --json").output;
  EXPECT_EQ(last["outcome"], "success");
  EXPECT_EQ(last["route"], "by name");
  EXPECT_EQ(last["waitingRecords"].size(), 0U);

  const auto dry = run("erase --dry-run --json");
  EXPECT_EQ(dry.json()[0]["outcome"], "would be removed");
  EXPECT_EQ(run("cache show --json").json()["present"], true);
  EXPECT_EQ(run("erase").exitStatus, 0);
  const ZORValue nothing = run("erase --dry-run --json").json();
  for (const ZORValue& item : nothing.elements()) EXPECT_EQ(item["outcome"], "nothing there");

  EXPECT_EQ(run("consent refuse").exitStatus, 0);
  const std::size_t requests = service.received().size();
  for (const char* arguments : {"fingerprint", "report", "identifier", "machine-id", "doctor"}) {
    EXPECT_EQ(run(arguments).exitStatus, 1) << arguments;
  }
  EXPECT_EQ(run("fingerprint --json").json()["error"]["code"], ZOR_FINGERPRINT_ERROR_NO_CONSENT);
  EXPECT_EQ(service.received().size(), requests);
  EXPECT_EQ(run("consent give --json").json()["permitted"], true);
  EXPECT_EQ(run("fingerprint").exitStatus, 0);
}

TEST_F(Zorfp, ShowsTheRecordsOfAFailureAndUploadsThemAfterADay) {
  EXPECT_EQ(uploadOutcome(), "nothing to send");
  service.script({.route = Route::name}, {.status = 500});
  service.script({.route = Route::address}, {.status = 500});
  service.script({.route = Route::backupAddress}, {.status = 500});
  EXPECT_EQ(run("fingerprint").exitStatus, 4);
  ASSERT_GE(run("pingbacks --json").json().size(), 2U);
  EXPECT_EQ(uploadOutcome(), "not due");

  // The last upload is moved far into the past.
  const std::string file = home.path + "/.config/zorfingerprint/com.tidewater.zorfp.json";
  ZORValue defaults = testing::json(testing::readText(file));
  defaults.set(
      literals::kPingbackUploadTimeKeyStart.str() + literals::kPingbackUploadTimeKeyEnd.str(), "1");
  testing::writeText(file, jsonForDisplay(defaults));
  // A failure is recorded and makes the next upload due.
  service.script({.route = Route::pingback}, {.status = 503}, 1);
  const ProgramRun refused = run("pingbacks upload --json");
  EXPECT_EQ(refused.exitStatus, 3);
  EXPECT_EQ(refused.json()["status"], 503) << refused.output;
  service.script({.route = Route::pingback}, {.ending = Ending::cutBody}, 1);
  const ProgramRun cut = run("pingbacks upload --json");
  EXPECT_EQ(cut.exitStatus, 4);
  EXPECT_EQ(cut.json()["outcome"], "failed");
  EXPECT_TRUE(cut.json()["error"].isText()) << cut.output;
  const ZORValue records = run("pingbacks --json").json();
  service.clearReceived();
  EXPECT_EQ(uploadOutcome(), "sent");
  EXPECT_EQ(ZORValue(service.pingbackRecords()), records);
  EXPECT_EQ(run("pingbacks --json").json(), ZORValue::array());
  EXPECT_EQ(run("pingbacks clear --json").json(), ZORValue::dictionary({{"cleared", true}}));
}

TEST_F(Zorfp, DistinguishesAnUnreadableFileOfRecordsFromAnEmptyOne) {
  const std::string file =
      home.path + "/.local/share/zorfingerprint/" + literals::kPingbackFileName.str();
  std::filesystem::create_directories(file);
  const std::map<std::string, ZORValue> answers = {
      {"pingbacks", nullptr},
      {"pingbacks clear", ZORValue::dictionary({{"cleared", false}})},
      {"pingbacks upload", ZORValue::dictionary({{"outcome", "failed"}})}};
  for (const auto& [command, answer] : answers) {
    const ProgramRun folder = run(command + " --json");
    EXPECT_EQ(folder.exitStatus, 1) << command;
    for (const auto& [key, value] : answer.entries()) EXPECT_EQ(folder.json()[key], value);
    EXPECT_NE(folder.diagnostics.find("cannot open " + file + ": it is not a regular file"),
              std::string::npos)
        << command;
    const ProgramRun homeless = run(command, "HOME=/dev/null");
    EXPECT_EQ(homeless.exitStatus, 1) << command;
    EXPECT_NE(homeless.diagnostics.find("Not a directory"), std::string::npos) << command;
  }
  std::filesystem::remove(file);
  for (const auto& [command, answer] : answers) EXPECT_EQ(run(command).exitStatus, 0);
}

TEST_F(Zorfp, DoctorShowsTheResultOfEachRoute) {
  service.script({.route = Route::name}, {.certificate = sandbox::Certificate::wrongName});
  const ProgramRun doctor = run("doctor --json");
  EXPECT_EQ(doctor.exitStatus, 0);
  const ZORValue checks = doctor.json();
  std::map<std::string, ZORValue> routes;
  for (const ZORValue& check : checks.elements()) routes[*check["route"].text()] = check;
  EXPECT_EQ(routes["name"]["reached"], false);
  EXPECT_NE(routes["name"]["certificate"].text()->find("refused"), std::string::npos);
  for (const char* reached : {"HTTPDNS bootstrap", "HTTPDNS query", "address", "backup list"}) {
    EXPECT_EQ(routes[reached]["reached"], true) << reached << doctor.output;
  }
}

TEST_F(Zorfp, DoctorShowsARouteThatCouldNotBeTriedAndWhy) {
  service.script({.route = Route::query}, {.withoutAnswerHeader = true});
  ZORValue checks = run("doctor --json").json();
  EXPECT_EQ(checks[2]["error"], "the answer has no addresses");
  EXPECT_EQ(checks[3]["error"], "the HTTPDNS query gave no address");
  service.script({.route = Route::bootstrap}, {.status = 500});
  checks = run("doctor --json").json();
  ASSERT_EQ(checks.size(), 4U + sandbox::SandboxSettings().bootstrapAddresses.size());
  EXPECT_EQ(checks[1]["error"], "the answer has status 500");
  const std::size_t query = checks.size() - 3;
  EXPECT_EQ(checks[query]["error"], "the HTTPDNS bootstrap gave no address");
  EXPECT_EQ(checks[query + 1]["reached"], false);
  service.script({.route = Route::name}, {.ending = Ending::reset});
  const ProgramRun unreachable = run("doctor --json");
  EXPECT_EQ(unreachable.json().elements().back()["reached"], true) << "the backup list";
  EXPECT_EQ(unreachable.exitStatus, 4);
}

TEST_F(Zorfp, DoctorReadsHttpDnsAnswersAsTheResolverDoes) {
  const std::string answering = sandbox::SandboxSettings().queryAddresses.front();
  const std::string separator = literals::kHttpDnsSeparator.str();
  for (const std::string& answer : {answering + "/?", answering + "@" + answering,
                                    separator + answering, "\x1b[2J" + separator}) {
    service.script({.route = Route::bootstrap}, {.answerHeader = answer}, 2);
    const ZORValue checks = run("doctor --json").json();
    for (const ZORValue& check : checks.elements()) {
      if (check["route"] == "HTTPDNS query") {
        EXPECT_EQ(check["reached"], false);
      }
    }
    EXPECT_EQ(run("doctor").output.find('\x1b'), std::string::npos);
  }
  EXPECT_TRUE(service.received(Route::query).empty());
}

}  // namespace
}  // namespace zor
