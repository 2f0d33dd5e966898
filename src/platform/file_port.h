// Files, folders and the volume they lie on.
#ifndef ZOR_PLATFORM_FILE_PORT_H_
#define ZOR_PLATFORM_FILE_PORT_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "support/status.h"

namespace zor {

// A file opened for reading and writing. What is written between two calls of synchronize() reaches
// the disk as one change: a reader, or the next run after a kill, finds the file as it was before
// or as it is after. Confined to one thread at a time.
class FileHandle {
 public:
  virtual ~FileHandle() = default;  // Drops what was not synchronized.

  virtual std::uint64_t sizeBytes() = 0;
  // Up to `lengthBytes` bytes from `offsetBytes`; fewer at the end of the file.
  virtual Data read(std::uint64_t offsetBytes, std::uint64_t lengthBytes) = 0;
  virtual void append(const Data& data) = 0;
  virtual void truncate() = 0;
  // Writes the changes to the disk. If that fails, the file is unchanged.
  virtual Status synchronize() = 0;
};

// Keeps other processes out while it lives; see FilePort::lockBeside.
class FileLock {
 public:
  virtual ~FileLock() = default;
};

struct LockAttempt {
  std::unique_ptr<FileLock> lock;  // Null: not held; `status` says why.
  Status status;
};

// Marks for a new file; a platform without such a mark ignores it.
struct FileAttributes {
  bool hidden = false;
  bool excludedFromBackup = false;
};

// Paths are absolute; "~" is not expanded. Callable from any thread. Nothing is thrown.
class FilePort {
 public:
  virtual ~FilePort() = default;

  virtual std::string homeDirectory() = 0;
  // The folder for the library's own files, which may not exist yet; nullopt if the user has none.
  virtual std::optional<std::string> libraryDirectory() = 0;

  // Whether anything is at `path`, of any kind; a dangling link counts.
  virtual bool exists(const std::string& path) = 0;
  // The whole content. Unusable: not a regular file, or larger than 16 MiB.
  virtual Reading<Data> read(const std::string& path) = 0;
  // Creates the directory and those above it, for this user only. Success: it is there now.
  virtual Status createDirectories(const std::string& path) = 0;
  // Creates an empty file, readable by this user only. Success: it was created.
  virtual Status createFile(const std::string& path, const FileAttributes& attributes) = 0;
  // Replaces the content as one change; success: it is on the disk; otherwise the file is
  // unchanged. A symbolic link at `path` is replaced, not followed.
  virtual Status writeAtomically(const std::string& path, const Data& data) = 0;
  // Removes the file, or the symbolic link itself. Success: nothing is there now.
  virtual Status removeFile(const std::string& path) = 0;
  // Unusable: not a regular file, such as a symbolic link. A file over 16 MiB, which the
  // library never writes, counts as empty: the first change replaces it.
  virtual Reading<std::unique_ptr<FileHandle>> openForUpdating(const std::string& path) = 0;
  // Keeps the file out of backups; success also on a platform that has no such mark.
  virtual Status excludeFromBackup(const std::string& path) = 0;
  // Bytes available to this user on the volume that holds `path`; nullopt if it does not answer.
  virtual std::optional<std::uint64_t> freeBytes(const std::string& path) = 0;
  // Takes the lock that belongs to `path`, which excludes other processes and other threads. Waits
  // as long as the thread's LockWaitBudget allows. If the lock is not obtained, the caller decides
  // whether to go on; what it writes is complete either way.
  virtual LockAttempt lockBeside(const std::string& path) = 0;
};

// `directory` and `name` joined by exactly one "/".
std::string pathByAppending(const std::string& directory, const std::string& name);

}  // namespace zor

#endif  // ZOR_PLATFORM_FILE_PORT_H_
