#include "profile_tool/operator_profile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/ports.h"
#include "sandbox/profile_words.h"
#include "sandbox/sandbox_service.h"
#include "support/json_codec.h"
#include "support/text.h"
#include "tests/fakes/json.h"
#include "tests/fakes/temporary_folder.h"

namespace zor::profile {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

ZORValue defaultProfile() {
  return zor::testing::json(contentOf(ZOR_TEST_SOURCE_DIR "/profiles/sandbox.json"));
}

// The default profile with the changes of a case; a null takes an entry out.
ZORValue changed(const ZORValue& row) {
  ZORValue document = defaultProfile();
  if (row["name"].isText()) document.set("name", row["name"]);
  ZORValue::Dictionary texts = document["texts"].entries();
  for (const auto& [name, value] : row["change"].entries()) {
    texts.erase(name);
    if (!value.isNull()) texts.emplace(name, value);
  }
  document.set("texts", ZORValue::dictionary(texts));
  return document;
}

// The CMake step is tested with the same cases.
TEST(OperatorProfile, EachRuleRefusesWithTheEntryWhatItIsAndWhatWasWanted) {
  const ZORValue cases =
      zor::testing::json(contentOf(ZOR_TEST_SOURCE_DIR "/tests/literals/profile_cases.json"));
  ASSERT_GT(cases.size(), 20U);
  for (const ZORValue& row : cases.elements()) {
    SCOPED_TRACE(*row["what"].text());
    const auto problems = problemsOfProfile(changed(row));
    if (row["refusal"].isNull()) {
      EXPECT_THAT(problems, IsEmpty());
    } else {
      EXPECT_THAT(problems, ::testing::Contains(HasSubstr(*row["refusal"].text())));
    }
  }
}

TEST(OperatorProfile, ASigningKeyThatDoesNotOpenIsRefused) {
  ZORValue document = defaultProfile();
  ZORValue texts = document["texts"];
  texts.set("kTextCipherKey", "tidal-estuary-17");
  document.set("texts", texts);
  EXPECT_THAT(problemsOfProfile(document), ElementsAre(HasSubstr("kSigningKey does not open")));
}

TEST(OperatorProfile, ANewProfileIsSoundAndKeepsAllButItsKeysWhenTheyAreRenewed) {
  std::uint32_t last = 12345;
  const RandomNumbers random = [&last] { return last = last * 1664525U + 1013904223U; };
  NewProfile wishes;
  wishes.service = "https://Fp.example.com:444";
  wishes.httpDnsHost = "dns.example.com";
  wishes.httpDnsAddresses = {"192.0.2.1", "2001:db8::1"};
  wishes.withoutPingback = true;
  ZORValue document = makeProfile(wishes, random);
  EXPECT_THAT(problemsOfProfile(document), IsEmpty());
  EXPECT_EQ(document["name"], "fp-example-com");
  EXPECT_EQ(profileText(document, "kFingerprintURL"),
            "https://Fp.example.com:444/security/dfp/sign_json");
  EXPECT_EQ(profileText(document, "kHttpDnsAddresses"), "192.0.2.1 2001:db8::1");
  EXPECT_EQ(profileText(document, "kPingbackURL"), "");
  EXPECT_EQ(zor::testing::json(textOfProfile(document)), document);

  const ZORValue before = document;
  rotateKeys(document, random);
  EXPECT_THAT(problemsOfProfile(document), IsEmpty());
  std::vector<std::string> renewed;
  for (const ProfileEntry& entry : profileEntries()) {
    if (profileText(before, entry.name) != profileText(document, entry.name)) {
      renewed.push_back(entry.name);
    }
  }
  EXPECT_THAT(renewed,
              ElementsAre("kTextCipherKey", "kTextCipherVector", "kSealVector", "kSigningKey"));
}

TEST(OperatorProfile, TheProgramChangesNothingWhenItRefuses) {
  const std::string folder = zor::testing::makeTemporaryFolder();
  const std::string file = folder + "/profile.json";
  const auto run = [&file](const std::string& arguments) {
    const std::string command =
        ZOR_TEST_BINARY_DIR "/bin/zorfp-profile " + arguments + " >/dev/null 2>" + file + ".errors";
    return WEXITSTATUS(std::system(command.c_str()));
  };
  EXPECT_EQ(run("new " + file + " --service http://fp.example.com"), 1);
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_EQ(run("new " + file + " --service https://fp.example.com"), 0);
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(file).permissions(), perms::owner_read | perms::owner_write);
  const std::string made = contentOf(file);
  EXPECT_EQ(run("new " + file + " --service https://fp.example.com"), 1);
  EXPECT_EQ(run("check " + file), 0);
  std::ofstream(file, std::ios::app) << "x";
  EXPECT_EQ(run("rotate " + file), 1);
  EXPECT_EQ(contentOf(file), made + "x");
  EXPECT_THAT(contentOf(file + ".errors"), HasSubstr("is not valid JSON"));
  EXPECT_EQ(run("show"), 2);
  std::filesystem::remove_all(folder);
}

TEST(OperatorProfile, TheSandboxServesTheWordsOfAnyProfile) {
  std::uint32_t last = 1;
  NewProfile wishes;
  wishes.service = "https://fp.example.com/sign?v=2";
  wishes.withoutBackup = true;
  const ZORValue document = makeProfile(wishes, [&last] { return last += 0x9E3779B9U; });
  sandbox::words::use(document);
  const sandbox::SandboxSettings settings;
  EXPECT_THAT(settings.bootstrapAddresses, IsEmpty());
  EXPECT_THAT(settings.certificateNames, ElementsAre("fp.example.com"));
  sandbox::SandboxService service;
  EXPECT_EQ(service.start(), std::nullopt);
  EXPECT_THAT(service.connectTo(), ::testing::Contains("fp.example.com:443:127.0.0.1:" +
                                                       std::to_string(service.port())));
  sandbox::words::use(defaultProfile());
}

}  // namespace
}  // namespace zor::profile
