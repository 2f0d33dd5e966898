#include "pingback/ZORSecPingbackStore.h"

#include <atomic>
#include <cmath>
#include <tuple>
#include <utility>

#include "literals/literals.h"
#include "pingback/ZORSecPingback.h"
#include "pingback/error_texts.h"
#include "pingback/record_array.h"
#include "platform/log.h"
#include "platform/ports.h"
#include "support/fork_hooks.h"
#include "support/text.h"
#include "transport/ZORHttpsURLSession.h"

namespace zor {
namespace {

constexpr double kSecondsBetweenUploads = 86400.0;
constexpr double kUploadTimeoutSeconds = 10.0;
constexpr std::uint64_t kUploadAttempts = 1;
constexpr std::int64_t kUploadErrorClass = 2;

// Closes the file at the end of a scope, whatever happens in it.
class OpenFile {
 public:
  explicit OpenFile(ZORSecFileUti& file) : _file(file) { _file.open(); }
  ~OpenFile() { _file.close(); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

 private:
  ZORSecFileUti& _file;
};

void appendRecord(ZORSecFileUti& file, const Json& record) {
  const auto text = arrayWithRecord(file.readToTheEndOfFile(), record);
  if (!text || text->size() >= kPingbackFileLimitBytes) return;
  // Deliberate order: where the append refuses, for too little free space, the file stays empty and
  // the records that were pending are lost.
  file.clearContent();
  std::ignore = file.appendStr(*text);
}

std::string uploadTimeKey() {
  return literals::kPingbackUploadTimeKeyStart.str() + literals::kPingbackUploadTimeKeyEnd.str();
}

double lastUploadTime() {
  const auto stored = ports().defaults.objectForKey(uploadTimeKey());
  if (!stored) return 0;
  if (const double* number = stored->number()) return *number;
  return stored->text() != nullptr ? doubleValue(*stored->text()) : 0;
}

void storeUploadTime(const std::string& time) {
  if (time.empty()) {
    ports().defaults.removeObject(uploadTimeKey());
  } else {
    ports().defaults.setObject(uploadTimeKey(), time);
  }
}

URLRequest uploadRequest(const std::string& text) {
  URLRequest request;
  request.url = literals::kPingbackURL.str();
  request.method = literals::kPingbackMethod.str();
  request.timeoutSeconds = kUploadTimeoutSeconds;
  request.body = utf8Bytes(literals::kPingbackBodyPrefix.str() + text);
  return request;
}

std::string describeFailure(const std::optional<URLResponse>& response,
                            const std::optional<ZORError>& error) {
  const ErrorTexts texts = errorTexts(error);
  return formatText(literals::kPingbackUploadErrorFormat.view(),
                    {std::to_string(response ? response->statusCode : 0), texts.domain, texts.code,
                     texts.description});
}

std::shared_ptr<ZORSecPingbackStore> makeStore() {
  // A user without such a folder has no file, and records are dropped.
  const std::string directory = ports().files.libraryDirectory().value_or("");
  return ZORSecPingbackStore::create(
      std::make_shared<ZORSecFileUti>(literals::kPingbackFileName.str(), directory));
}

}  // namespace

// What GetPingbackStore() hands out.
struct ScopedPingbackStore::Slot {
  std::once_flag made;
  std::shared_ptr<ZORSecPingbackStore> store;
};

namespace {

std::atomic<ScopedPingbackStore::Slot*> scopedSlot{nullptr};

// The store of this process. A lock instead of a function's static: making the store takes file
// access, and a static that another thread was making during a fork would never be made in the
// child.
struct ProcessStore {
  ProcessStore() { holdOverFork(ForkRank::pingback, mutex); }

  Mutex mutex;  // Guards `store`. The ports' locks are taken under it.
  std::shared_ptr<ZORSecPingbackStore> store ZOR_GUARDED_BY(mutex);
};

std::shared_ptr<ZORSecPingbackStore> processStore() {
  static auto& process = *new ProcessStore;
  const LogDeferral lines;
  const MutexLock lock(process.mutex);
  if (!process.store) {
    process.store = makeStore();
    process.store->surviveFork();
  }
  return process.store;
}

}  // namespace

bool isPingbackUploadDue(double now, double lastUpload) {
  return std::abs(now - lastUpload) > kSecondsBetweenUploads;
}

bool isPingbackTextTooLargeToKeep(std::size_t utf16Units) {
  return 2 * utf16Units > kPingbackFileLimitBytes;
}

std::shared_ptr<ZORSecPingbackStore> ZORSecPingbackStore::create(
    std::shared_ptr<ZORSecFileUti> file) {
  return std::make_shared<ZORSecPingbackStore>(Private{}, std::move(file));
}

ZORSecPingbackStore::ZORSecPingbackStore(Private, std::shared_ptr<ZORSecFileUti> file)
    : _file(std::move(file)),
      _file_io(literals::kPingbackQueueLabel.str(), 1),
      _urlSession(ZORHttpsURLSession::create()) {}

void ZORSecPingbackStore::surviveFork() {
  holdOverFork(ForkRank::pingback, _fileMutex);
  _file_io.surviveFork(ForkRank::queue);
}

// A log line of the store reaches the host's handler on `_file_io`, and the handler may come back.
void ZORSecPingbackStore::onQueueAndWait(const OperationQueue::Operation& operation) {
  if (_file_io.isCurrent()) {
    operation();
  } else {
    _file_io.addOperationAndWait(operation);
  }
}

// Only on `_file_io`.
void ZORSecPingbackStore::onOpenFile(const FileOperation& operation) {
  const LogDeferral deferral;
  const MutexLock lock(_fileMutex);
  const OpenFile open(*_file);
  operation(*_file);
}

// As onOpenFile, for what changes the file: other applications of the user, and other processes of
// this one, wait until it is closed again. Only on `_file_io`.
void ZORSecPingbackStore::onLockedFile(const FileOperation& operation) {
  const LogDeferral deferral;
  const auto processLock = ports().files.lockBeside(_file->fullPath());
  onOpenFile(operation);
}

void ZORSecPingbackStore::writeDictionary(const std::optional<Json>& dictionary, bool async) {
  if (!dictionary || !dictionary->is_object() || dictionary->empty()) return;
  const auto write = [this, record = *dictionary] {
    onLockedFile([&record](ZORSecFileUti& file) { appendRecord(file, record); });
  };
  if (async) {
    _file_io.addOperation(write);
  } else {
    onQueueAndWait(write);
  }
}

std::optional<std::string> ZORSecPingbackStore::readStr() {
  std::optional<std::string> text;
  onQueueAndWait([this, &text] {
    onOpenFile([&text](ZORSecFileUti& file) { text = file.readToTheEndOfFile(); });
  });
  return text;
}

void ZORSecPingbackStore::clearFileContent() {
  _file_io.addOperation([this] { onLockedFile([](ZORSecFileUti& file) { file.clearContent(); }); });
}

std::uint64_t ZORSecPingbackStore::fileSize() {
  std::uint64_t size = 0;
  onQueueAndWait(
      [this, &size] { onOpenFile([&size](ZORSecFileUti& file) { size = file.size(); }); });
  return size;
}

PingbackUpload ZORSecPingbackStore::checkIfNeedUpload(const PingbackUploadCompletion& completion) {
  const double now = ports().clock.secondsSince1970();
  if (!isPingbackUploadDue(now, lastUploadTime())) return PingbackUpload::notDue;
  // Deliberate: the time is recorded before anything is sent. An upload that is never answered, and
  // an empty file, wait a day too.
  storeUploadTime(shortestDecimal(now));
  const auto text = readStr();
  if (!text || text->empty()) return PingbackUpload::nothingToSend;
  startUpload(*text, completion);
  return PingbackUpload::started;
}

void ZORSecPingbackStore::startUpload(const std::string& text,
                                      const PingbackUploadCompletion& completion) {
  _urlSession->performRequest(uploadRequest(text), kUploadAttempts,
                              [weakSelf = weak_from_this(), units = utf16Length(text), completion](
                                  const auto& body, const auto& response, const auto& error) {
                                const auto self = weakSelf.lock();
                                if (!self) return;
                                self->finishUpload(units, body, response, error);
                                if (completion) completion(response, error);
                              });
}

void ZORSecPingbackStore::finishUpload(std::size_t utf16Units, const std::optional<Data>& body,
                                       const std::optional<URLResponse>& response,
                                       const std::optional<ZORError>& error) {
  if (zor_isRequestSuccess(body, response, error)) {
    // Deliberate: the whole file, with records that came in since it was read.
    clearFileContent();
    return;
  }
  const std::string description = describeFailure(response, error);
  if (isPingbackTextTooLargeToKeep(utf16Units)) {
    clearFileContent();
    ZORSecPingback::sendWithError(kUploadErrorClass, literals::kPingbackTypeUploadOverflow.str(),
                                  description);
  }
  ZORSecPingback::sendWithError(kUploadErrorClass, literals::kPingbackTypeUploadFailed.str(),
                                description);
  // The key of the last upload's time: the next call tries again.
  ports().defaults.removeObject(literals::kPingbackFailureKeyStart.str() +
                                literals::kPingbackFailureKeyEnd.str());
}

std::shared_ptr<ZORSecPingbackStore> GetPingbackStore() {
  auto* slot = scopedSlot.load(std::memory_order_acquire);
  if (slot == nullptr) return processStore();
  std::call_once(slot->made, [slot] { slot->store = makeStore(); });
  return slot->store;
}

ScopedPingbackStore::ScopedPingbackStore()
    : _slot(std::make_unique<Slot>()), _previous(scopedSlot.exchange(_slot.get())) {}

ScopedPingbackStore::~ScopedPingbackStore() {
  if (_slot->store) std::ignore = _slot->store->fileSize();  // The queue is serial.
  scopedSlot.store(_previous);
}

}  // namespace zor
