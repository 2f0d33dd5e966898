#include "store/dfp_store.h"

#include <ZORFingerPrint/ZORJsonHelper.h>

#include <tuple>
#include <utility>

#include "crypto/text_cipher.h"
#include "literals/literals.h"
#include "platform/log.h"
#include "platform/ports.h"
#include "support/fork_hooks.h"
#include "support/text.h"

namespace zor {
namespace {

// The folder that the host chose. Anything but a text with content is no choice.
std::optional<std::string> chosenDirectory() {
  const auto value = ports().defaults.objectForKey(literals::kStorePathDefaultsKey.str());
  if (!value || value->text() == nullptr || value->text()->empty()) return std::nullopt;
  return *value->text();
}

std::optional<std::string> storeDirectory() {
  auto directory = chosenDirectory();
  return directory ? std::move(directory) : ports().files.libraryDirectory();
}

std::string pathIn(const std::string& directory) {
  return pathByAppending(directory, literals::kStoreFileName.str());
}

// What a store file with that content holds; a damaged one holds nothing.
ZORValue entriesOf(const Reading<Data>& content) {
  const auto sealed = content ? textFromUtf8(*content) : std::nullopt;
  const auto entries = ZORJsonHelper::zorsec_objectFromJSONStringWithStr(dfp_decrypt_text(sealed));
  return entries && entries->isDictionary() ? *entries : ZORValue::dictionary();
}

void createStoreFile(const std::string& path) {
  const Status status = ports().files.createFile(path, {/*hidden=*/true,
                                                        /*excludedFromBackup=*/true});
  logLine(formatText(literals::kStoreCreatedLogFormat.view(), {status.isSuccess() ? "1" : "0"}));
}

}  // namespace

std::string dfp_slot_key(std::string_view slotPiece) {
  std::string key = literals::kSlotKeyPrefix.str();
  key.append(slotPiece);
  return key.append(literals::kSlotKeySuffix.view());
}

Mutex& initPthreadMutex() {
  static Mutex& mutex = []() -> Mutex& {
    auto& made = *new Mutex;
    holdOverFork(ForkRank::storeFile, made);
    return made;
  }();
  return mutex;
}

std::optional<std::string> storeFilePath() {
  const auto directory = storeDirectory();
  if (!directory) return std::nullopt;
  return pathIn(*directory);
}

std::optional<std::string> dfp_store_read(const std::string& slotKey) {
  const LogDeferral lines;
  const MutexLock lock(initPthreadMutex());
  const auto path = storeFilePath();
  if (!path || !ports().files.exists(*path)) return std::nullopt;
  const ZORValue entries = entriesOf(ports().files.read(*path));
  const std::string* text = entries[slotKey].text();
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

void dfp_store_write(const std::string& slotKey, const std::optional<std::string>& value) {
  const LogDeferral lines;
  const MutexLock lock(initPthreadMutex());
  const auto directory = storeDirectory();
  if (!directory) return;
  const std::string path = pathIn(*directory);
  FilePort& files = ports().files;
  // The folder comes before the look at the file: the lock that keeps other processes away needs
  // it.
  if (!files.exists(path)) std::ignore = files.createDirectories(*directory);
  const auto otherProcessesHeldOff = files.lockBeside(path);

  const auto before = files.read(path);
  ZORValue entries = entriesOf(before);
  if (value) {
    entries.set(slotKey, *value);
  } else {
    entries.erase(slotKey);
  }
  const auto sealed = dfp_encrypt_text(zorsec_JSONString(entries));
  if (!files.exists(path)) createStoreFile(path);
  if (!sealed) return;
  const Data after = utf8Bytes(*sealed);
  // Nobody is told of a write that fails: the next request brings the fingerprint back.
  if (!before || *before != after) std::ignore = files.writeAtomically(path, after);
}

}  // namespace zor
