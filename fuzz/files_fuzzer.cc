// Files that the library keeps and finds again as somebody has left them: pending failure records,
// the user defaults, the encrypted store, the copies of the shared identifier. The first half of
// the input is the file, the second a text to be put into it.
#include <ZORFingerPrint/ZORLog.h>

#include <filesystem>
#include <fstream>

#include "crypto/text_cipher.h"
#include "fuzz/fuzz_input.h"
#include "pingback/record_array.h"
#include "platform/linux/defaults_linux.h"
#include "platform/ports.h"
#include "store/dfp_store.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor::fuzz {
namespace {

constexpr const char* kKey = "key";

ZORValue parsedArray(const std::string& text) {
  const auto parsed = valueFromJson(text);
  return parsed && parsed->isArray() ? *parsed : ZORValue::array();
}

// Continuing a damaged file of records must give the same as parsing it.
void continuesAsIfParsed(const std::string& file, const std::string& text) {
  if (!isValidUtf8(file) || !isValidUtf8(text)) return;
  if (isCompactRecordArray(file)) require(parsedArray(file).size() != 0);
  const ZORValue record = ZORValue::dictionary({{"n", 1}, {"text", text}});
  const auto continued = arrayWithRecord(file, record);
  if (!continued) return;
  ZORValue expected = parsedArray(file);
  expected.append(record);
  require(valueFromJson(*continued) == expected);
}

void readsBackAsArchived(const std::string& file) {
  ArchivePort& archive = ports().archive;
  const auto dictionary = archive.unarchivedDictionary(utf8Bytes(file));
  if (!dictionary) return;
  require(dictionary->isDictionary());
  const auto archived = archive.archivedData(*dictionary);
  require(archived && archive.unarchivedDictionary(*archived) == dictionary);
}

// The folder of this run's files, removed at its end.
const std::filesystem::path& folder() {
  static const struct Folder {
    Folder() : path(std::filesystem::temp_directory_path() / "zor-fuzz-XXXXXX") {
      std::string name = path.string();
      require(::mkdtemp(name.data()) != nullptr);
      path = name;
    }
    ~Folder() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
    std::filesystem::path path;
  } own;
  return own.path;
}

void putFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  require(file.good());
}

// Whatever a file holds, a change of one value is kept and the others stay.
void keepsOneOfTheDefaults(const std::string& file, const std::string& text) {
  const std::string path = folder() / "defaults.json";
  putFile(path, file);
  const auto locate = [path] { return std::optional(path); };
  LinuxDefaults found(locate);
  const auto before = found.read({kKey, "a"});
  require(bool(before));
  if (!isValidUtf8(text)) return;
  require(found.change({{kKey, text}}).isSuccess());
  LinuxDefaults later(locate);
  const auto after = later.read({kKey, "a"});
  require(after && after->front() == ZORValue(text) && after->back() == before->back());
}

void keepsOneOfTheStore(const std::string& file, const std::string& text) {
  const auto path = storeFilePath();
  require(path.has_value());
  putFile(*path, file);
  const auto other = dfp_store_read("a");
  require(!other.isUnreadable());
  if (!isValidUtf8(text)) return;
  require(dfp_store_write(kKey, text).isSuccess());
  require(dfp_store_read(kKey).content() == text);
  require(dfp_store_read("a").content() == other.content());
}

}  // namespace
}  // namespace zor::fuzz

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
  zor::ZORSetLogHandler([](const std::string& /*line*/) {});  // Each damaged file gets a line.
  for (const char* variable : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"}) {
    ::setenv(variable, zor::fuzz::folder().c_str(), 1);
  }
  const auto path = zor::storeFilePath();
  zor::fuzz::require(path.has_value());
  std::filesystem::create_directories(std::filesystem::path(*path).parent_path());
  return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto [file, text] = zor::fuzz::halvesOfInput(bytes, size);
  zor::fuzz::continuesAsIfParsed(file, text);
  zor::fuzz::readsBackAsArchived(file);
  zor::fuzz::keepsOneOfTheDefaults(file, text);
  zor::fuzz::keepsOneOfTheStore(zor::dfp_encrypt_text(file).value_or(file), text);
  if (size % 4 == 0) zor::fuzz::keepsOneOfTheStore(file, text);  // Mostly no base64.
  return 0;
}
