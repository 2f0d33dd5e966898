#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "literals/literals.h"
#include "platform/linux/bundle_linux.h"
#include "tests/fakes/child_process.h"
#include "tests/fakes/temporary_folder.h"

namespace zor {
namespace {

using testing::inChildProcess;
using testing::TemporaryFolder;
using testing::writeText;

constexpr const char* kJson = R"({"CFBundleIdentifier":"org.example.app","CFBundleVersion":"7"})";

// One ELF note, laid out as a linker does.
std::string note(const std::string& name, std::uint32_t type, const std::string& content,
                 std::size_t alignment = 4) {
  const auto sizes = {static_cast<std::uint32_t>(name.size() + 1),
                      static_cast<std::uint32_t>(content.size()), type};
  std::string bytes(reinterpret_cast<const char*>(sizes.begin()), 12);
  bytes += name + '\0';
  bytes.resize((bytes.size() + alignment - 1) / alignment * alignment);
  bytes += content;
  bytes.resize((bytes.size() + alignment - 1) / alignment * alignment);
  return bytes;
}

std::string identifierOf(const std::optional<BundleInfo>& bundle) {
  return bundle ? bundle->identifier.value_or("none") : "nothing";
}

TEST(Bundle, TheNoteIsFoundAmongOthersAndADamagedOneIsIgnored) {
  for (const std::size_t alignment : {std::size_t{4}, std::size_t{8}}) {
    const std::string others =
        note("GNU", 3, "12345", alignment) + note("ZORBundle", 2, "{}", alignment);
    const std::string notes = others + note("ZORBundle", 1, kJson, alignment);
    EXPECT_EQ(identifierOf(bundleInfoFromNotes(notes, alignment)), "org.example.app");
    EXPECT_EQ(identifierOf(bundleInfoFromNotes(others, alignment)), "nothing");
    const std::size_t padding = notes.size() - notes.rfind('}') - 1;
    for (std::size_t size = 0; size + padding < notes.size(); ++size) {
      EXPECT_EQ(identifierOf(bundleInfoFromNotes({notes.data(), size}, alignment)), "nothing");
    }
  }
  // One segment for all notes, with the strictest alignment.
  const std::string mixed = note("GNU", 5, std::string(16, 'p'), 8) + note("GNU", 3, "12345") +
                            note("ZORBundle", 1, kJson);
  EXPECT_EQ(identifierOf(bundleInfoFromNotes(mixed, 8)), "org.example.app");
  EXPECT_EQ(identifierOf(bundleInfoFromNotes(std::string(64, '\xff'), 4)), "nothing");
  EXPECT_EQ(identifierOf(bundleInfoFromNotes(note("ZORBundle", 1, "[]"), 1)), "nothing");
}

TEST(Bundle, AnIdentifierIsANonEmptyText) {
  EXPECT_EQ(identifierOf(bundleInfoFromJson(R"({"CFBundleIdentifier":""})")), "none");
  EXPECT_EQ(identifierOf(bundleInfoFromJson(R"({"CFBundleIdentifier":5})")), "none");
  EXPECT_EQ(identifierOf(bundleInfoFromJson("\"text\"")), "nothing");
}

TEST(Bundle, TheFlatpakIsNamedInItsApplicationGroupOnly) {
  EXPECT_EQ(
      identifierOf(bundleInfoFromFlatpak("[Runtime]\nname=no\n[Application]\r\n name=org.a \n")),
      "org.a");
  EXPECT_EQ(identifierOf(bundleInfoFromFlatpak("name=no\n[Application]\n[Other]\nname=no")),
            "nothing");
  EXPECT_EQ(identifierOf(bundleInfoFromFlatpak("[Application]\nname=")), "nothing");
  EXPECT_EQ(identifierOf(bundleInfoFromFlatpak("[Application]\nname=\xff")), "nothing");
}

TEST(Bundle, ASnapIsRecognizedByItsEnvironmentUnlessThatWasInherited) {
  const auto snap = bundleInfoFromSnap("app", "1.5", "/snap/app/9", "/snap/app/9/bin/app");
  EXPECT_EQ(identifierOf(snap), "app");
  EXPECT_EQ(snap->info,
            testing::json(R"({"CFBundleShortVersionString":"1.5","CFBundleVersion":"1.5"})"));
  EXPECT_EQ(identifierOf(bundleInfoFromSnap("app", "1", "/snap/app/9", "/usr/bin/x")), "nothing");
  EXPECT_EQ(identifierOf(bundleInfoFromSnap("app", "1", "/snap/app/9", "/snap/app/99")), "nothing");
  EXPECT_EQ(identifierOf(bundleInfoFromSnap("app", "1", "", "/usr/bin/x")), "nothing");
  EXPECT_EQ(identifierOf(bundleInfoFromSnap("app", nullptr, "/s", "/s/x")), "nothing");
}

TEST(Bundle, TheFirstFormThatAnswersCounts) {
  const TemporaryFolder folder;
  const std::string executable = folder.file("app");
  const auto found = [&] {
    return identifierOf(readBundleBeside(executable, folder.file("flatpak")));
  };
  EXPECT_EQ(found(), "none");
  writeText(folder.file("flatpak"), "[Application]\nname=org.flatpak");
  EXPECT_EQ(found(), "org.flatpak");
  EXPECT_EQ(inChildProcess([&] {
              ::setenv("SNAP_NAME", "snapped", 1);
              ::setenv("SNAP_VERSION", "1", 1);
              ::setenv("SNAP", folder.path.c_str(), 1);
              if (found() != "snapped") return 1;
              writeText(folder.file("real.json"), kJson);
              std::filesystem::create_symlink("real.json", executable + ".info.json");
              if (found() != "snapped") return 2;
              std::filesystem::remove(executable + ".info.json");
              writeText(executable + ".info.json", std::string(100000, ' ') + kJson);
              if (found() != "snapped") return 3;
              writeText(executable + ".info.json", kJson);
              return found() == "org.example.app" ? 0 : 4;
            }),
            0);
}

TEST(Bundle, TheEmbeddedNoteIdentifiesTheProgram) {
  const std::unique_ptr<FILE, int (*)(FILE*)> output(
      ::popen(ZOR_TEST_BINARY_DIR "/bin/zor_bundle_host", "r"), ::pclose);
  char line[300] = "";
  ASSERT_NE(std::fgets(line, sizeof line, output.get()), nullptr);
  EXPECT_STREQ(line,
               "org.example.host {\"CFBundleIdentifier\":\"org.example.host\","
               "\"CFBundleShortVersionString\":\"2.5~rc1\",\"CFBundleVersion\":\"250\"}\n");
}

TEST(Bundle, AnApplicationIsNamedOnceAndOnlyBeforeItsNameIsInUse) {
  const ScopedApplicationName scope;
  BundlePort& bundle = systemPorts().bundle;
  for (const std::string& wrong :
       {std::string(), std::string("\xff"), std::string("a\0b", 3), std::string(201, 'x')}) {
    EXPECT_FALSE(nameApplication(wrong, "1"));
    EXPECT_FALSE(nameApplication("app", wrong));
  }
  EXPECT_TRUE(nameApplication("org.example.script", "7"));
  EXPECT_TRUE(nameApplication("org.example.script", "7"));
  EXPECT_FALSE(nameApplication("org.example.other", "7"));
  EXPECT_EQ(bundle.bundleIdentifier(), "org.example.script");
  EXPECT_EQ(bundle.infoValue(literals::kBundleVersionKey.str()), "7");
  EXPECT_EQ(bundle.infoValue("CFBundleIdentifier"), std::nullopt);

  const ScopedApplicationName unnamed;
  EXPECT_EQ(fixedApplicationName(), nullptr);
  EXPECT_FALSE(nameApplication("org.example.late", "7"));
}

}  // namespace
}  // namespace zor
