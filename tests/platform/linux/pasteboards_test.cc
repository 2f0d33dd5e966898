#include <gtest/gtest.h>

#include "platform/linux/linux_ports.h"
#include "platform/linux/pasteboards_linux.h"
#include "support/text.h"
#include "tests/fakes/temporary_folder.h"

namespace zor {
namespace {

using testing::InMemoryPasteboards;
using testing::TemporaryFolder;
using testing::writeText;

struct Boards {
  const TemporaryFolder folder;
  LinuxPasteboards pasteboards{[this] { return folder.file("boards"); }};
};

void keepsEachNameAndTypeApart(PasteboardPort& port) {
  const std::vector<std::string> names{"a", "a/b", "../a", "", ".", "A", std::string(300, 'x')};
  for (const std::string& name : names) {
    const auto board = port.pasteboardWithName(name);
    EXPECT_FALSE(board->dataForType("type"));
    EXPECT_TRUE(board->setData(utf8Bytes("old"), "type").isSuccess());
    EXPECT_TRUE(board->setData(utf8Bytes(name), "type").isSuccess());
    EXPECT_TRUE(board->setData({}, "../type").isSuccess());
  }
  for (const std::string& name : names) {
    EXPECT_EQ(port.pasteboardWithName(name)->dataForType("type").content(), utf8Bytes(name));
    EXPECT_EQ(port.pasteboardWithName(name)->dataForType("../type").content(), Data());
  }
}

TEST(Pasteboards, KeepEachNameAndTypeApart) {
  InMemoryPasteboards fake;
  keepsEachNameAndTypeApart(fake);
  Boards real;
  keepsEachNameAndTypeApart(real.pasteboards);
  EXPECT_EQ(real.folder.names(), std::set<std::string>{"boards"});
}

TEST(Pasteboards, WhatIsTooLargeOrNotAFileReadsAsAbsent) {
  Boards real;
  const auto board = real.pasteboards.pasteboardWithName("board");
  EXPECT_TRUE(board->setData(Data(kMaxPasteboardBytes), "full").isSuccess());
  EXPECT_EQ(board->dataForType("full")->size(), kMaxPasteboardBytes);
  EXPECT_TRUE(board->setData(Data(kMaxPasteboardBytes + 1), "full").isUnusable());
  const std::string folder = real.folder.file("boards/board");
  writeText(folder + "/large", std::string(kMaxPasteboardBytes + 1, 'x'));
  std::filesystem::create_symlink("full", folder + "/link");
  std::filesystem::create_directory(folder + "/folder");
  for (const char* type : {"large", "link", "folder"}) {
    EXPECT_TRUE(board->dataForType(type).status().isUnusable()) << type;
  }
  LinuxPasteboards homeless([] { return std::nullopt; });
  EXPECT_EQ(homeless.pasteboardWithName("board"), nullptr);
}

TEST(Archive, BringsADictionaryBackAndRefusesWhatItDidNotMake) {
  ArchivePort& archive = linuxArchivePort();
  const auto dictionary = ZORValue::dictionary(
      {{"$date", "text"}, {"date", ZORDate{1.5}}, {"", ZORValue::dictionary({{"n", 0.1}})}});
  const Data bytes = archive.archivedData(dictionary).value();
  EXPECT_EQ(archive.unarchivedDictionary(bytes), dictionary);
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_EQ(archive.unarchivedDictionary({bytes.begin(), bytes.begin() + long(size)}),
              std::nullopt);
  }
  for (const char* text :
       {"null", "[]", "{}", R"({"root":{}})", R"({"archiveVersion":2,"root":{}})",
        R"({"archiveVersion":"1","root":{}})", R"({"archiveVersion":1,"root":"text"})",
        R"({"archiveVersion":1,"root":{"$date":1}})", "\xff"}) {
    EXPECT_EQ(archive.unarchivedDictionary(utf8Bytes(text)), std::nullopt) << text;
  }
  EXPECT_EQ(
      archive.unarchivedDictionary(utf8Bytes(R"({"archiveVersion":1,"root":{"a":[1],"b":"c"}})")),
      ZORValue::dictionary({{"b", "c"}}));
  EXPECT_EQ(archive.archivedData(ZORValue::dictionary({{"key", "\xff"}})), std::nullopt);
  EXPECT_EQ(archive.archivedData(ZORValue::dictionary({{"key", ZORDate{0.0 / 0.0}}})),
            std::nullopt);
}

}  // namespace
}  // namespace zor
