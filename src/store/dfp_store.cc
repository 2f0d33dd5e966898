#include "store/dfp_store.h"

#include <ZORFingerPrint/ZORJsonHelper.h>

#include <cerrno>
#include <functional>
#include <tuple>
#include <utility>

#include "crypto/text_cipher.h"
#include "literals/labels.h"
#include "literals/literals.h"
#include "platform/log.h"
#include "platform/ports.h"
#include "support/process_generation.h"
#include "support/text.h"

namespace zor {
namespace {

// The folder that the host chose; nullopt unless it is a non-empty text.
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
  return pathByAppending(directory, nameInProfile(literals::kStoreFileName.str()));
}

// What a store file with that content holds; a damaged one holds nothing.
ZORValue entriesOf(const Reading<Data>& content) {
  const auto sealed = content ? textFromUtf8(*content) : std::nullopt;
  const auto entries = ZORJsonHelper::zorsec_objectFromJSONStringWithStr(dfp_decrypt_text(sealed));
  return entries && entries->isDictionary() ? *entries : ZORValue::dictionary();
}

// True: the file cannot be read for a moment, and is left alone. A file that is closed to this user
// will not open by itself: it reads as empty, and the next write replaces it.
bool isUnreadableForNow(const Reading<Data>& content) {
  const int error = content.status().systemError();
  return content.isUnreadable() && error != EACCES && error != EPERM;
}

// Changes the entries of a store file; false: there is nothing to change.
using Edit = std::function<bool(ZORValue& entries)>;

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
  struct StoreMutex {
    Mutex mutex{LockRank::storeFile};
  };
  static constinit PerProcess<StoreMutex> own;
  return own.get().mutex;
}

std::optional<std::string> storeFilePath() {
  const auto directory = storeDirectory();
  if (!directory) return std::nullopt;
  return pathIn(*directory);
}

Reading<std::string> dfp_store_read(const std::string& slotKey) {
  const LogDeferral lines;
  const auto path = storeFilePath();
  const MutexLock lock(initPthreadMutex());
  if (!path) return {};
  const auto content = ports().files.read(*path);
  if (isUnreadableForNow(content)) return content.status();
  const ZORValue entries = entriesOf(content);
  const std::string* text = entries[slotKey].text();
  return text != nullptr ? Reading<std::string>(*text) : Reading<std::string>();
}

namespace {

Status editStoreFile(const std::string& path, const Edit& edit) ZOR_REQUIRES(initPthreadMutex()) {
  FilePort& files = ports().files;
  const auto before = files.read(path);
  if (isUnreadableForNow(before)) return before.status();
  ZORValue entries = entriesOf(before);
  if (!edit(entries)) return {};
  const auto sealed = dfp_encrypt_text(zorsec_JSONString(entries));
  if (!files.exists(path)) createStoreFile(path);
  if (!sealed) return Status::unusable("cannot write " + path, "a value is not valid UTF-8");
  const Data after = utf8Bytes(*sealed);
  return before && *before == after ? Status() : files.writeAtomically(path, after);
}

Status changeStoreFile(const Edit& edit) {
  const LogDeferral lines;
  const auto directory = storeDirectory();
  if (!directory) return Status::unusable("cannot keep a value", "the user has no home folder");
  const std::string path = pathIn(*directory);
  // The folder comes first: the lock that keeps other processes away needs it.
  if (!ports().files.exists(path)) std::ignore = ports().files.createDirectories(*directory);
  const auto otherProcessesHeldOff = ports().files.lockBeside(path);
  const MutexLock lock(initPthreadMutex());
  return editStoreFile(path, edit);
}

}  // namespace

Status dfp_store_write(const std::string& slotKey, const std::optional<std::string>& value) {
  return changeStoreFile([&](ZORValue& entries) {
    if (value) {
      entries.set(slotKey, *value);
    } else {
      entries.erase(slotKey);
    }
    return true;
  });
}

Status dfp_store_forget(const std::string& slotKey, const std::optional<std::string>& seen) {
  return changeStoreFile([&](ZORValue& entries) {
    const std::string* text = entries[slotKey].text();
    if (text != nullptr && *text != seen) return false;
    entries.erase(slotKey);
    return true;
  });
}

Status removeStoreFile() {
  const LogDeferral lines;
  const MutexLock lock(initPthreadMutex());
  const auto path = storeFilePath();
  if (!path || !ports().files.exists(*path)) return {};
  // A process that has read the file and is about to write it would bring it back.
  const auto attempt = ports().files.lockBeside(*path);
  return attempt.status.isBusy() ? attempt.status : ports().files.removeFile(*path);
}

}  // namespace zor
