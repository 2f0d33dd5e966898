#include "platform/posix/file_io.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <tuple>

#include "platform/lock_wait.h"
#include "support/process_generation.h"

namespace zor {

// How a child finds the descriptor of a lock that its parent holds.
struct LockNote {
  std::atomic<int> descriptor{-1};  // -1: the note is free.
  LockNote* next = nullptr;
};

namespace {

// Follows no link, is not inherited by other programs, takes over no terminal, waits for no FIFO.
constexpr int kCarefully = O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
constexpr mode_t kFolderMode = 0700;
constexpr mode_t kPermissionBits = 0777;

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// As open(2), but repeated if a signal interrupts it, and never one of the descriptors 0 to 2.
int openAboveStandardOnes(const char* path, int flags, mode_t mode) {
  const int descriptor = retryOnSignal([&] { return ::open(path, flags, mode); });
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  ::close(descriptor);
  errno = error;
  return moved;
}

Status unusablePath(const char* verb, const std::string& path) {
  return Status::unusable(std::string("cannot ") + verb + " \"" + path.c_str() + '"',
                          "this is not a path");
}

Status tooLarge(const char* verb, const std::string& path) {
  return Status::unusable(std::string("cannot ") + verb + " " + path, "too large");
}

// The reading to return if no regular file could be opened at `path`.
Reading<FileDescriptor> notOpened(const std::string& path, int error) {
  const std::string failure = "cannot open " + path;
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return {};
    case ELOOP:
      return Status::unusable(failure, "it is a symbolic link");
    case EISDIR:
    case ENXIO:  // A socket, or a FIFO without a reader.
    case ENODEV:
      return Status::unusable(failure, "it is not a regular file");
    default:
      return systemFailure("open", path, error);
  }
}

// Whether `descriptor` is a regular file that is still at `path`, as far as the file system knows.
bool isFileAt(int descriptor, const std::string& path) {
  struct stat opened {};
  struct stat named {};
  return ::fstat(descriptor, &opened) == 0 && ::lstat(path.c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

int writeAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written =
        retryOnSignal([&] { return ::write(descriptor, content.data(), content.size()); });
    if (written < 0) return errno;
    if (written == 0) return ENOSPC;
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

// A write beyond the process's size limit would not fail but kill the host with a signal.
bool exceedsProcessLimit(std::size_t sizeBytes) {
  struct rlimit limit {};
  return ::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
         sizeBytes > limit.rlim_cur;
}

int fill(int descriptor, std::string_view content, const std::optional<timespec>& modifiedAt) {
  if (exceedsProcessLimit(content.size())) return EFBIG;
  // The umask may have cleared bits, and a writer that was killed may have left content.
  if (retryOnSignal([&] { return ::fchmod(descriptor, kOwnFileMode); }) != 0) return errno;
  if (retryOnSignal([&] { return ::ftruncate(descriptor, 0); }) != 0) return errno;
  if (const int error = writeAll(descriptor, content); error != 0) return error;
  if (modifiedAt) {
    const timespec times[] = {{0, UTIME_OMIT}, *modifiedAt};
    std::ignore = ::futimens(descriptor, times);  // Only a hint to readers that watch the file.
  }
  return synchronizeToDisk(descriptor);
}

// A file to be filled and renamed. Each folder has a few such names, which are reused. A writer
// locks the one it uses, so no two writers share a file, and what a killed writer leaves is
// overwritten.
class TemporaryFile {
 public:
  int open(const std::string& folder) {
    int error = EAGAIN;
    for (int slot = 0; slot < kMaxSlots && error == EAGAIN; ++slot) {
      _path = folder + "/.zorfingerprint-" + std::to_string(slot) + ".tmp";
      error = openSlot();
      // Its writer has renamed it, so the name is free again.
      if (error == ESTALE) error = openSlot();
      if (error == ESTALE) error = EAGAIN;
    }
    return error;
  }

  int descriptor() const { return _descriptor.get(); }
  const std::string& path() const { return _path; }
  void remove() { ::unlink(_path.c_str()); }

 private:
  static constexpr int kMaxSlots = 1024;

  // Returns EAGAIN if another writer has the name, ESTALE if the file was renamed before it was
  // locked.
  int openSlot() {
    const bool isNew = openAs(O_CREAT | O_EXCL);
    if (!isNew && errno == EEXIST && !openAs(0) && errno == ENOENT) return ESTALE;
    if (!_descriptor.isOpen()) return isTakenByAnother(errno) ? EAGAIN : errno;
    if (retryOnSignal([this] { return ::flock(_descriptor.get(), LOCK_EX | LOCK_NB); }) != 0) {
      return errno == EWOULDBLOCK ? EAGAIN : errno;
    }
    struct stat status {};
    if (::fstat(_descriptor.get(), &status) != 0) return errno;
    if (status.st_nlink == 0) return ESTALE;
    // Not every file system reports a file's owner correctly.
    const bool isOwn = isNew || status.st_uid == ::geteuid();
    if (!S_ISREG(status.st_mode) || status.st_nlink > 1 || !isOwn) return EAGAIN;
    return isFileAt(_descriptor.get(), _path) ? 0 : ESTALE;
  }

  bool openAs(int flags) {
    _descriptor = openFile(_path, O_RDWR | flags | kCarefully, kOwnFileMode);
    return _descriptor.isOpen();
  }

  // A link, a folder, a socket or another user's file has the name; the next name may be free. That
  // does not help in a folder where no file can be created.
  bool isTakenByAnother(int error) const {
    if (error == ELOOP || error == EISDIR || error == ENXIO || error == EOPNOTSUPP) return true;
    struct stat status {};
    return (error == EACCES || error == EPERM) && ::lstat(_path.c_str(), &status) == 0;
  }

  FileDescriptor _descriptor;
  std::string _path;
};

// Without this, a power cut may bring back the file that was replaced or removed. A failure is
// ignored because the change itself has happened.
void synchronizeFolderOf(const std::string& path) {
  const FileDescriptor folder =
      openFile(folderOf(path), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOCTTY);
  if (folder.isOpen()) std::ignore = ::fsync(folder.get());
}

int renameOver(const std::string& from, const std::string& to) {
  if (retryOnSignal([&] { return ::rename(from.c_str(), to.c_str()); }) != 0) return errno;
  synchronizeFolderOf(to);
  return 0;
}

int makeFolder(const std::string& path) {
  if (::mkdir(path.c_str(), kFolderMode) == 0) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && (status.st_mode & kPermissionBits) != kFolderMode) {
      std::ignore = ::chmod(path.c_str(), kFolderMode);  // The umask may have cleared bits.
    }
    return 0;
  }
  const int error = errno;
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return error;
  return S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
}

// One note for each lock that is held or waited for. The list only grows, to the highest number at
// any one time, and needs no lock, so the child of a fork finds it intact.
constinit std::atomic<LockNote*> firstNote{nullptr};

LockNote& takeNote(int descriptor) {
  for (LockNote* note = firstNote.load(); note != nullptr; note = note->next) {
    int none = -1;
    if (note->descriptor.compare_exchange_strong(none, descriptor)) return *note;
  }
  auto* const note = new LockNote{{descriptor}, firstNote.load()};
  while (!firstNote.compare_exchange_weak(note->next, note)) {
  }
  return *note;
}

// A lock belongs to the open file, which the child of a fork shares. Unless the child closes its
// copy at once, the lock outlives a killed parent.
void closeInheritedLocks() {
  for (LockNote* note = firstNote.load(); note != nullptr; note = note->next) {
    const int descriptor = note->descriptor.exchange(-1);
    if (descriptor >= 0) ::close(descriptor);
  }
}

// Runs when the library is loaded. Fails only if memory runs out.
__attribute__((constructor)) void closeLocksInChildren() {
  std::ignore = ::pthread_atfork(nullptr, nullptr, closeInheritedLocks);
}

}  // namespace

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
  if (this != &other) {
    reset();
    _descriptor = std::exchange(other._descriptor, -1);
  }
  return *this;
}

void FileDescriptor::reset() noexcept {
  if (_descriptor >= 0) ::close(_descriptor);
  _descriptor = -1;
}

bool isUsablePath(const std::string& path) {
  return !path.empty() && path.find('\0') == std::string::npos;
}

FileDescriptor openFile(const std::string& path, int flags, mode_t mode) {
  return FileDescriptor(openAboveStandardOnes(path.c_str(), flags, mode));
}

Reading<FileDescriptor> openRegularFile(const std::string& path, int accessMode) {
  if (!isUsablePath(path)) return unusablePath("open", path);
  FileDescriptor file = openFile(path, accessMode | kCarefully);
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0) return notOpened(path, errno);
  if (!S_ISREG(status.st_mode)) return notOpened(path, ENODEV);
  return file;
}

Reading<Data> readWholeFile(const std::string& path, std::size_t limitBytes) {
  const auto file = openRegularFile(path, O_RDONLY);
  if (!file) return file.status();
  struct stat status {};
  if (::fstat(file->get(), &status) != 0) return systemFailure("read", path);
  if (static_cast<std::uint64_t>(status.st_size) > limitBytes) return tooLarge("read", path);
  // One extra byte, so that a file that grew is noticed and the end is seen without another call.
  Data bytes(static_cast<std::size_t>(status.st_size) + 1);
  std::size_t filled = 0;
  for (;;) {
    const ssize_t count = retryOnSignal(
        [&] { return ::read(file->get(), bytes.data() + filled, bytes.size() - filled); });
    if (count < 0) return systemFailure("read", path);
    filled += static_cast<std::size_t>(count);
    if (count == 0 || filled > limitBytes) break;
    if (filled == bytes.size()) bytes.resize(std::min(2 * filled, limitBytes + 1));
  }
  if (filled > limitBytes) return tooLarge("read", path);
  bytes.resize(filled);
  return bytes;
}

Status replaceFile(const std::string& path, std::string_view content,
                   const std::optional<timespec>& modifiedAt) {
  if (!isUsablePath(path)) return unusablePath("write", path);
  if (content.size() > kMaxFileBytes) return tooLarge("write", path);  // It could not be read back.
  TemporaryFile temporary;
  if (const int error = temporary.open(folderOf(path)); error != 0) {
    return systemFailure("write", path, error);
  }
  copyMarks(path, temporary.path());
  int error = fill(temporary.descriptor(), content, modifiedAt);
  if (error == 0) error = renameOver(temporary.path(), path);
  if (error == 0) return {};
  temporary.remove();
  return systemFailure("write", path, error);
}

Status removeFileAt(const std::string& path) {
  if (!isUsablePath(path)) return systemFailure("remove", path, EINVAL);
  if (retryOnSignal([&] { return ::unlink(path.c_str()); }) != 0) {
    return errno == ENOENT || errno == ENOTDIR ? Status() : systemFailure("remove", path);
  }
  synchronizeFolderOf(path);
  return {};
}

Status makeFolders(const std::string& path) {
  if (!isUsablePath(path)) return unusablePath("create the folder", path);
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return {};
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    const std::string part = path.substr(0, end);
    if (const int error = makeFolder(part); error != 0) {
      return systemFailure("create the folder", part, error);
    }
    if (end == std::string::npos) return {};
  }
}

LockAttempt FileSystemLock::acquire(const std::string& path) {
  if (!isUsablePath(path)) return {nullptr, unusablePath("lock", path)};
  LockWaitBudget budget;
  for (;;) {
    FileDescriptor file = openFile(path, O_RDWR | O_CREAT | kCarefully, kOwnFileMode);
    if (!file.isOpen()) return {nullptr, systemFailure("lock", path)};
    const int descriptor = file.get();
    std::unique_ptr<FileSystemLock> lock(new FileSystemLock(std::move(file)));
    while (retryOnSignal([&] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }) != 0) {
      if (errno != EWOULDBLOCK) return {nullptr, systemFailure("lock", path)};
      if (budget.waitAMoment()) continue;
      return {nullptr, Status::busy("cannot lock " + path, lockHolder(descriptor))};
    }
    // If it was removed while we waited, others wait for a new file of that name.
    if (isFileAt(descriptor, path)) return {std::move(lock), {}};
  }
}

FileSystemLock::FileSystemLock(FileDescriptor file)
    : _note(takeNote(file.get())), _descriptor(file.release()) {}

FileSystemLock::~FileSystemLock() {
  if (_generation != processGeneration()) return;  // The parent's lock; our copy is closed.
  // Closing is not enough: a process that is just being started may hold a copy.
  ::flock(_descriptor, LOCK_UN);
  _note.descriptor.store(-1);
  ::close(_descriptor);
}

std::string lockPathBeside(const std::string& path) { return path + ".lock"; }

Status systemFailure(const char* verb, const std::string& path, int error) {
  return Status::ofSystem(std::string("cannot ") + verb + " " + path, error,
                          systemErrorText(error));
}

}  // namespace zor
