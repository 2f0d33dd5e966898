// The file of failure records and its daily upload.
#ifndef ZOR_PINGBACK_ZORSECPINGBACKSTORE_H_
#define ZOR_PINGBACK_ZORSECPINGBACKSTORE_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "files/ZORSecFileUti.h"
#include "platform/operation_queue.h"
#include "platform/url_loading_port.h"
#include "support/status.h"

namespace zor {

class ZORHttpsURLSession;

// The file is always shorter than this.
constexpr std::size_t kMaxPingbackFileBytes = 512000;

// Whether an upload is due: more than a day lies between the two times, in either direction, so
// that a clock which was once far ahead does not stop the uploads. Seconds since 1970.
bool isPingbackUploadDue(double now, double lastUpload);

// Whether a text of that many UTF-16 units is dropped when its upload fails.
bool isPingbackTextTooLargeToKeep(std::size_t utf16Units);

// What became of an upload that was due, after the store has dealt with it.
struct PingbackUpload {
  bool sent = false;  // False: the file is empty, or cannot be opened.
  std::optional<URLResponse> response;
  std::optional<ZORError> error;
};
using PingbackUploadCompletion = std::function<void(const PingbackUpload& upload)>;

// Keeps records in one file: a JSON array, compact, in UTF-8, oldest record first.
//
// Threads:   callable from any; the file is touched on the store's own serial queue alone.
// Processes: share the file; each change is made under a lock between processes and as a whole. A
//            change for which the lock cannot be had within five seconds is dropped.
// Lifetime:  destroying the store finishes what is queued. An upload in flight holds it weakly.
class ZORSecPingbackStore final : public std::enable_shared_from_this<ZORSecPingbackStore> {
  struct Private {};

 public:
  // Selector: initWithFile:
  // `file` is used on the store's queue from now on.
  static std::shared_ptr<ZORSecPingbackStore> create(std::shared_ptr<ZORSecFileUti> file);
  ZORSecPingbackStore(Private, std::shared_ptr<ZORSecFileUti> file);  // For create() only.

  const std::shared_ptr<ZORSecFileUti>& file() const { return _file; }

  // Selector: writeDictionary:async:
  // Appends a record; an absent or empty one is ignored. Dropped: a record that would make the file
  // reach kMaxPingbackFileBytes, or that JSON cannot hold. Content that is not a JSON array is
  // replaced. With too little free space all records are lost, the file is left empty.
  // With `async` the call returns at once, else when it is done.
  void writeDictionary(const std::optional<ZORValue>& dictionary, bool async);

  // The whole file; nothing when it is empty or not UTF-8, and the status where it cannot be
  // opened. Waits for the writes queued before.
  Reading<std::string> readStr();

  // Empties the file; returns at once. `done`, which may be empty, is called on the store's queue.
  void clearFileContent(const std::function<void(const Status& status)>& done = {});

  // The file's size in bytes. Waits for the writes queued before.
  std::uint64_t fileSize();

  // Uploads the file when more than a day has passed since the last time that was tried, and says
  // whether that is so; the writes queued before come first. Returns at once. `completion` may be
  // empty; it is called once when it is over, on a queue of the library, unless nothing was due or
  // the store is gone by then.
  //
  // Success (status 200, no error) empties the file. A failure keeps it unless it is too large, is
  // itself recorded, and makes the next call try again. Nothing is ever due when the operator has
  // no service for it.
  bool checkIfNeedUpload(const PingbackUploadCompletion& completion = {});

 private:
  using FileOperation = std::function<void(ZORSecFileUti& file)>;

  void onQueueAndWait(const OperationQueue::Operation& operation);
  Status onOpenFile(const FileOperation& operation);
  Status onLockedFile(const FileOperation& operation);
  void startUpload(const PingbackUploadCompletion& completion);
  void finishUpload(std::size_t utf16Units, const std::optional<Data>& body,
                    const std::optional<URLResponse>& response,
                    const std::optional<ZORError>& error);

  const std::shared_ptr<ZORSecFileUti> _file;
  bool _lockIsStuck = false;  // Only on `_file_io`: the last wait for the lock was in vain.
  const std::shared_ptr<ZORHttpsURLSession> _urlSession;
  OperationQueue _file_io;  // Serial. The last member: what is queued uses the others.
};

// Whether the file holds anything, or the time of an upload is kept. Makes no store and no file.
bool arePingbacksKept();

// Empties the file, with the records of the user's other applications, which share it, and forgets
// when an upload was tried; writes queued in this process come first. Makes no store and no file.
Status erasePingbacks();

// The store of this process, over the file in the user's library folder. Made at the first call in
// each process and never destroyed. Callable from any thread.
std::shared_ptr<ZORSecPingbackStore> GetPingbackStore();

// Gives GetPingbackStore() a store of its own, made at the first call within, for its lifetime; the
// file is that of the ports then in use. At the end its queue is drained. Not to be made or
// destroyed while other threads use the library; scopes nest.
class ScopedPingbackStore {
 public:
  ScopedPingbackStore();
  ~ScopedPingbackStore();
  ScopedPingbackStore(const ScopedPingbackStore&) = delete;
  ScopedPingbackStore& operator=(const ScopedPingbackStore&) = delete;

  struct Slot;

 private:
  const std::unique_ptr<Slot> _slot;
  Slot* const _previous;
};

}  // namespace zor

#endif  // ZOR_PINGBACK_ZORSECPINGBACKSTORE_H_
