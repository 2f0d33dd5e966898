#include "pingback/ZORSecPingbackStore.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <tuple>
#include <utility>

#include "consent/consent.h"
#include "literals/labels.h"
#include "literals/literals.h"
#include "pingback/ZORSecPingback.h"
#include "pingback/record_array.h"
#include "platform/lock_wait.h"
#include "platform/log.h"
#include "platform/ports.h"
#include "session/ZORHttpsURLSession.h"
#include "support/process_generation.h"
#include "support/text.h"

namespace zor {
namespace {

constexpr double kMinSecondsBetweenUploads = 86400.0;
constexpr double kUploadTimeoutSeconds = 10.0;
constexpr std::uint64_t kUploadAttempts = 1;
constexpr std::int64_t kUploadErrorClass = 2;
// The queue may wait this long for a lock because no host waits for the queue.
constexpr std::chrono::seconds kMaxLockWait{5};

// Closes the file at the end of a scope, whatever happens in it.
class OpenFile {
 public:
  explicit OpenFile(ZORSecFileUti& file) : _file(file) { _file.open(); }
  ~OpenFile() { std::ignore = _file.close(); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

 private:
  ZORSecFileUti& _file;
};

void appendRecord(ZORSecFileUti& file, const ZORValue& record) {
  const auto text = arrayWithRecord(file.readToTheEndOfFile(), record);
  if (!text || text->size() >= kMaxPingbackFileBytes) return;
  // Deliberate order: where the append refuses, for too little free space, the file stays empty and
  // the records that were pending are lost.
  file.clearContent();
  std::ignore = file.appendStr(*text);
}

std::string uploadTimeKey() {
  return literals::kPingbackUploadTimeKeyStart.str() + literals::kPingbackUploadTimeKeyEnd.str();
}

// Seconds since 1970; 0: never.
Reading<double> lastUploadTime() {
  const auto kept = ports().defaults.read({uploadTimeKey()});
  if (!kept) return kept.status();
  const auto& stored = kept->front();
  if (!stored) return 0.0;
  if (const auto number = stored->number()) return *number;
  return stored->text() != nullptr ? doubleValue(*stored->text()) : 0.0;
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

// Nothing: the user has no such folder, and records are dropped.
std::optional<std::string> filePath() {
  const auto directory = ports().files.libraryDirectory();
  if (!directory) return std::nullopt;
  return pathByAppending(*directory, nameInProfile(literals::kPingbackFileName.str()));
}

std::shared_ptr<ZORSecPingbackStore> makeStore() {
  const std::string directory = ports().files.libraryDirectory().value_or("");
  return ZORSecPingbackStore::create(
      std::make_shared<ZORSecFileUti>(nameInProfile(literals::kPingbackFileName.str()), directory));
}

}  // namespace

// What GetPingbackStore() hands out: each process has a store of its own, with its own queue and
// its own open file.
struct ScopedPingbackStore::Slot {
  struct Made {
    const std::shared_ptr<ZORSecPingbackStore> store = makeStore();
  };
  OwnedPerProcess<Made> own;
};

namespace {

std::atomic<ScopedPingbackStore::Slot*> scopedSlot{nullptr};

ScopedPingbackStore::Slot& slotInUse() {
  static constinit MadeOnce<ScopedPingbackStore::Slot> usual;
  auto* const scoped = scopedSlot.load(std::memory_order_acquire);
  return scoped != nullptr ? *scoped : usual.get();
}

// Does not use the store, which would make the file and start a thread.
Status emptyFile() {
  const auto path = filePath();
  FilePort& files = ports().files;
  if (!path || !files.exists(*path)) return {};
  const LogDeferral lines;
  const LockAttempt attempt = files.lockBeside(*path);
  return attempt.status.isBusy() ? attempt.status : files.writeAtomically(*path, {});
}

}  // namespace

bool isPingbackUploadDue(double now, double lastUpload) {
  return std::abs(now - lastUpload) > kMinSecondsBetweenUploads;
}

bool isPingbackTextTooLargeToKeep(std::size_t utf16Units) {
  return 2 * utf16Units > kMaxPingbackFileBytes;
}

std::shared_ptr<ZORSecPingbackStore> ZORSecPingbackStore::create(
    std::shared_ptr<ZORSecFileUti> file) {
  return std::make_shared<ZORSecPingbackStore>(Private{}, std::move(file));
}

ZORSecPingbackStore::ZORSecPingbackStore(Private, std::shared_ptr<ZORSecFileUti> file)
    : _file(std::move(file)),
      _urlSession(ZORHttpsURLSession::create()),
      _file_io(literals::kPingbackQueueLabel.str(), 1) {}

// A log line of the store reaches the host's handler on `_file_io`, and the handler may come back.
void ZORSecPingbackStore::onQueueAndWait(const OperationQueue::Operation& operation) {
  if (_file_io.isCurrent()) {
    operation();
  } else {
    _file_io.addOperationAndWait(operation);
  }
}

// Only on `_file_io`.
Status ZORSecPingbackStore::onOpenFile(const FileOperation& operation) {
  const LogDeferral deferral;
  const OpenFile open(*_file);
  operation(*_file);
  return _file->close();
}

// As onOpenFile, for what changes the file: other applications of the user, and other processes of
// this one, wait until it is closed again. Only on `_file_io`.
Status ZORSecPingbackStore::onLockedFile(const FileOperation& operation) {
  const LogDeferral deferral;
  // If many changes wait for a stopped process, only the first waits long.
  const LockWaitBudget budget(_lockIsStuck ? kMaxLockWaitOfCall : kMaxLockWait);
  const LockAttempt attempt = ports().files.lockBeside(_file->fullPath());
  _lockIsStuck = attempt.status.isBusy();
  if (_lockIsStuck) return attempt.status;
  return onOpenFile(operation);
}

void ZORSecPingbackStore::writeDictionary(const std::optional<ZORValue>& dictionary, bool async) {
  if (!dictionary || !dictionary->isDictionary() || dictionary->size() == 0) return;
  const auto write = [this, record = *dictionary] {
    if (!isPermitted()) return;
    // The outcome is ignored: a record that cannot be written is lost.
    std::ignore = onLockedFile([&record](ZORSecFileUti& file) { appendRecord(file, record); });
    if (!isPermitted()) std::ignore = emptyFile();
  };
  if (async) {
    _file_io.addOperation(write);
  } else {
    onQueueAndWait(write);
  }
}

Reading<std::string> ZORSecPingbackStore::readStr() {
  std::optional<std::string> text;
  Status status;
  onQueueAndWait([this, &text, &status] {
    status = onOpenFile([&text](ZORSecFileUti& file) { text = file.readToTheEndOfFile(); });
  });
  return text ? Reading<std::string>(*text) : status;
}

void ZORSecPingbackStore::clearFileContent(const std::function<void(const Status& status)>& done) {
  _file_io.addOperation([this, done] {
    const Status status = onLockedFile([](ZORSecFileUti& file) { file.clearContent(); });
    if (done) done(status);
  });
}

std::uint64_t ZORSecPingbackStore::fileSize() {
  std::uint64_t size = 0;
  onQueueAndWait([this, &size] {
    std::ignore = onOpenFile([&size](ZORSecFileUti& file) { size = file.size(); });
  });
  return size;
}

bool ZORSecPingbackStore::checkIfNeedUpload(const PingbackUploadCompletion& completion) {
  if (!isPermitted()) return false;
  // An operator may have no such service; the records then stay in their file.
  if (literals::kPingbackURL.view().empty()) return false;
  const auto lastUpload = lastUploadTime();
  const double now = ports().clock.secondsSince1970();
  if (!lastUpload || !isPingbackUploadDue(now, *lastUpload)) return false;
  // Deliberate: the time is recorded before anything is sent. An upload that is never answered, and
  // an empty file, wait a day too. What cannot be kept holds for this process.
  std::ignore = ports().defaults.setObject(uploadTimeKey(), shortestDecimal(now));
  // Not on the caller's thread: earlier writes in the queue may wait for another process.
  _file_io.addOperation([this, completion] { startUpload(completion); });
  return true;
}

// Only on `_file_io`.
void ZORSecPingbackStore::startUpload(const PingbackUploadCompletion& completion) {
  const auto text = readStr();
  if (!text || text->empty() || !isPermitted()) {
    if (completion) completion({});
    return;
  }
  _urlSession->performRequestRetryCount(
      uploadRequest(*text), kUploadAttempts,
      [weakSelf = weak_from_this(), units = utf16Length(*text), completion](
          const auto& body, const auto& response, const auto& error) {
        const auto self = weakSelf.lock();
        if (!self) return;
        self->finishUpload(units, body, response, error);
        if (completion) completion({true, response, error});
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
  std::ignore = ports().defaults.removeObject(literals::kPingbackFailureKeyStart.str() +
                                              literals::kPingbackFailureKeyEnd.str());
}

namespace {

void logMissingApplicationOnce() {
  static std::atomic<bool> logged{false};
  if (logged.exchange(true)) return;
  logLine(literals::kPingbackNoApplicationLogLine.str());
}

}  // namespace

void ZORSecPingback::send() const { pingback(*this); }

void ZORSecPingback::pingback(const std::optional<ZORSecPingback>& record) {
  // Checked here as well as at the write: without permission no store is made.
  if (!record || !isPermitted()) return;
  if (!canBeWritten()) return logMissingApplicationOnce();
  GetPingbackStore()->writeDictionary(record->toDictionary(), /*async=*/true);
}

void ZORSecPingback::sendWithError(std::int64_t error, const std::optional<std::string>& errorType,
                                   const std::optional<std::string>& errorDesc) {
  ZORSecPingback(error, errorType, errorDesc).send();
}

bool arePingbacksKept() {
  if (ports().defaults.objectForKey(uploadTimeKey())) return true;
  const auto path = filePath();
  if (!path || !ports().files.exists(*path)) return false;
  const auto content = ports().files.read(*path);
  return !content || !content->empty();  // A file that cannot be read may hold something.
}

Status erasePingbacks() {
  if (auto* const made = slotInUse().own.find()) {
    std::ignore = made->store->fileSize();  // The queue is serial.
  }
  const Status time = ports().defaults.removeObject(uploadTimeKey());
  const Status records = emptyFile();
  return records.isSuccess() ? time : records;
}

std::shared_ptr<ZORSecPingbackStore> GetPingbackStore() { return slotInUse().own.get().store; }

ScopedPingbackStore::ScopedPingbackStore()
    : _slot(std::make_unique<Slot>()), _previous(scopedSlot.exchange(_slot.get())) {}

ScopedPingbackStore::~ScopedPingbackStore() {
  if (auto* const made = _slot->own.find()) {
    std::ignore = made->store->fileSize();  // The queue is serial.
  }
  scopedSlot.store(_previous);
}

}  // namespace zor
