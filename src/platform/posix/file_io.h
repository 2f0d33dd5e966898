// File access that is safe inside a host: links are not followed, no call waits for a special file,
// and every change is complete or does not happen. Shared by the backends of both platforms.
//
// Paths that are empty or have a NUL inside are unusable. All functions are callable from any
// thread and from several processes at once. No file gets one of the descriptors 0 to 2, not even
// in a host that has closed them: output of other code must not end up in it.
#ifndef ZOR_PLATFORM_POSIX_FILE_IO_H_
#define ZOR_PLATFORM_POSIX_FILE_IO_H_

#include <ZORFingerPrint/ZORTypes.h>
#include <sys/types.h>
#include <time.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/file_port.h"
#include "support/process_generation.h"
#include "support/status.h"

namespace zor {

// Nothing larger is read into memory or kept.
constexpr std::size_t kMaxFileBytes = std::size_t{16} << 20;

// Every file that the library makes is its user's alone.
constexpr mode_t kOwnFileMode = 0600;

// Owns an open file descriptor, or none (negative).
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : _descriptor(descriptor) {}
  ~FileDescriptor() { reset(); }
  FileDescriptor(FileDescriptor&& other) noexcept
      : _descriptor(std::exchange(other._descriptor, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;

  bool isOpen() const { return _descriptor >= 0; }
  int get() const { return _descriptor; }
  int release() { return std::exchange(_descriptor, -1); }  // Gives up ownership.
  void reset() noexcept;

 private:
  int _descriptor = -1;
};

// The result of `call`, a system call, which is repeated as long as a signal interrupts it.
template <typename Call>
auto retryOnSignal(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

// Whether `path` can be passed to a system call: it must not be empty, nor contain a NUL, which
// would make it name another file.
bool isUsablePath(const std::string& path);

// As open(2), but never one of the descriptors 0 to 2. On failure the result is not open, and errno
// says why.
FileDescriptor openFile(const std::string& path, int flags, mode_t mode = 0);

// Opens the regular file at `path` with an access mode such as O_RDONLY. Everything else (symbolic
// link, folder, FIFO, device) is unusable and not waited for.
Reading<FileDescriptor> openRegularFile(const std::string& path, int accessMode);

// The whole content. A file of more than `limitBytes` is unusable.
Reading<Data> readWholeFile(const std::string& path, std::size_t limitBytes);

// Replaces what is at `path` (a symbolic link itself, not its target) by a file of this content,
// readable by this user only. Success: it is on the disk; otherwise what was there is untouched. A
// kill at any moment leaves the old or the new file. `modifiedAt` becomes its modification time.
// Takes no lock and does not wait: concurrent calls all succeed, and the last one wins.
Status replaceFile(const std::string& path, std::string_view content,
                   const std::optional<timespec>& modifiedAt = std::nullopt);

// Removes the file at `path`, or the symbolic link itself. Success: nothing is there now, and the
// removal is on the disk.
Status removeFileAt(const std::string& path);

// Creates the folder and those above it, for this user only whatever the umask is. Success: it
// exists now.
Status makeFolders(const std::string& path);

struct LockNote;

// A lock between processes and threads, held until it is destroyed. The child of a fork holds none.
class FileSystemLock final : public FileLock {
 public:
  // Waits for the lock file at `path`, which is created on demand and stays, as long as the
  // thread's LockWaitBudget allows.
  static LockAttempt acquire(const std::string& path);
  ~FileSystemLock() override;
  FileSystemLock(const FileSystemLock&) = delete;
  FileSystemLock& operator=(const FileSystemLock&) = delete;

 private:
  explicit FileSystemLock(FileDescriptor file);

  LockNote& _note;
  const int _descriptor;
  const ProcessGeneration _generation = processGeneration();
};

// The path of the lock file that belongs to `path`.
std::string lockPathBeside(const std::string& path);

// A failure of a call of the system: "cannot <verb> <path>", and errno or `error` in words.
Status systemFailure(const char* verb, const std::string& path, int error = errno);

// The functions below differ between platforms; the backend defines them.

// Flushes what was written to the file to the disk. Returns 0 or an errno value.
int synchronizeToDisk(int descriptor);

// Copies the marks that the platform keeps on the file itself, not on its name, from `from` to
// `to`, which is about to replace it. There may be no file `from`, and the volume may not support
// such marks; neither is a failure.
void copyMarks(const std::string& from, const std::string& to);

// Who holds a lock on that open file, for people: "process 4711 (editor), which is stopped,";
// "another process" if the system does not say.
std::string lockHolder(int descriptor);

// An errno value in English.
std::string systemErrorText(int error);

}  // namespace zor

#endif  // ZOR_PLATFORM_POSIX_FILE_IO_H_
