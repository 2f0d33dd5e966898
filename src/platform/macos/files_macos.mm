#import <Foundation/Foundation.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <tuple>
#include <utility>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"

namespace zor {
namespace {

constexpr std::size_t kLargestFileBytes = std::size_t{16} << 20;
constexpr mode_t kFileMode = 0600;
constexpr short kFolderMode = 0700;
// No link is followed, no program inherits it, no terminal is taken over, no FIFO is waited for.
constexpr int kCarefully = O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

template <typename Call>
auto retryOnSignal(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

// Owns an open file descriptor, or none (negative).
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : _descriptor(descriptor) {}
  ~Descriptor() {
    if (_descriptor >= 0) ::close(_descriptor);
  }
  Descriptor(Descriptor&& other) noexcept : _descriptor(std::exchange(other._descriptor, -1)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;

  bool isOpen() const { return _descriptor >= 0; }
  int get() const { return _descriptor; }

 private:
  int _descriptor;
};

// A path with a NUL inside would name another file than its owner meant.
bool isUsable(const std::string& path) {
  return !path.empty() && path.find('\0') == std::string::npos;
}

// Not open: not there, not permitted, or no regular file.
Descriptor openRegularFile(const std::string& path, int accessMode) {
  if (!isUsable(path)) return Descriptor(-1);
  Descriptor file(retryOnSignal([&] { return ::open(path.c_str(), accessMode | kCarefully); }));
  struct stat status {};
  const bool regular =
      file.isOpen() && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
  return regular ? std::move(file) : Descriptor(-1);
}

// The whole content; nullopt when it cannot be read or is too large.
std::optional<Data> readAll(const Descriptor& file) {
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0) return std::nullopt;
  if (static_cast<std::uint64_t>(status.st_size) > kLargestFileBytes) return std::nullopt;
  // One byte more than the size shows a file that grew.
  Data content(static_cast<std::size_t>(status.st_size) + 1);
  std::size_t filled = 0;
  while (filled < content.size()) {
    const ssize_t count = retryOnSignal(
        [&] { return ::read(file.get(), content.data() + filled, content.size() - filled); });
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
    if (filled == content.size()) content.resize(std::min(2 * filled, kLargestFileBytes + 1));
  }
  if (filled > kLargestFileBytes) return std::nullopt;
  content.resize(filled);
  return content;
}

bool writeAll(int descriptor, const Data& data) {
  std::size_t written = 0;
  while (written < data.size()) {
    const ssize_t count = retryOnSignal(
        [&] { return ::write(descriptor, data.data() + written, data.size() - written); });
    if (count <= 0) return false;
    written += static_cast<std::size_t>(count);
  }
  return true;
}

// fsync alone leaves the data in the drive's cache; not every file system knows the full call.
bool synchronizeToDisk(int descriptor) {
  return ::fcntl(descriptor, F_FULLFSYNC) == 0 || ::fsync(descriptor) == 0;
}

NSURL* fileUrl(const std::string& path) {
  return isUsable(path) ? [NSURL fileURLWithFileSystemRepresentation:path.c_str()
                                                         isDirectory:NO
                                                       relativeToURL:nil]
                        : nil;
}

bool setMark(const std::string& path, NSURLResourceKey mark) {
  @autoreleasepool {
    NSURL* url = fileUrl(path);
    return url != nil && [url setResourceValue:@YES forKey:mark error:nil];
  }
}

// The marks sit on the file, not on its name: a file that takes another's place needs its marks.
void copyMarks(const std::string& from, const std::string& to) {
  @autoreleasepool {
    for (NSURLResourceKey mark in @[ NSURLIsHiddenKey, NSURLIsExcludedFromBackupKey ]) {
      NSNumber* value = nil;
      const bool known = [fileUrl(from) getResourceValue:&value forKey:mark error:nil];
      if (known && value.boolValue) std::ignore = setMark(to, mark);
    }
  }
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// Fills a new file beside `path` and renames it over what is there.
bool replaceFile(const std::string& path, const Data& data) {
  if (!isUsable(path)) return false;
  const std::string folder = folderOf(path);
  std::string temporary = folder + "/.zorfingerprint-XXXXXX";
  const Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));  // Mode 0600.
  if (!file.isOpen()) return false;
  copyMarks(path, temporary);
  const bool replaced = writeAll(file.get(), data) && synchronizeToDisk(file.get()) &&
                        ::rename(temporary.c_str(), path.c_str()) == 0;
  if (!replaced) {
    ::unlink(temporary.c_str());
    return false;
  }
  // Without this a power cut may bring the old file back whole; the change itself has happened.
  const Descriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.isOpen()) std::ignore = synchronizeToDisk(opened.get());
  return true;
}

// A copy of the file in memory, which replaces the file as a whole.
class MacFileHandle final : public FileHandle {
 public:
  MacFileHandle(std::string path, Data content)
      : _path(std::move(path)), _content(std::move(content)) {}

  std::uint64_t sizeBytes() override { return _content.size(); }

  Data read(std::uint64_t offsetBytes, std::uint64_t lengthBytes) override {
    const std::uint64_t start = std::min<std::uint64_t>(offsetBytes, _content.size());
    const std::uint64_t end = start + std::min<std::uint64_t>(lengthBytes, _content.size() - start);
    return {_content.begin() + static_cast<std::ptrdiff_t>(start),
            _content.begin() + static_cast<std::ptrdiff_t>(end)};
  }

  void append(const Data& data) override {
    // What could not be read back must not replace what can be.
    _tooLarge = _tooLarge || data.size() > kLargestFileBytes - _content.size();
    if (_tooLarge) return;
    _content.insert(_content.end(), data.begin(), data.end());
    _changed = _changed || !data.empty();
  }

  void truncate() override {
    _changed = true;
    _tooLarge = false;
    _content.clear();
  }

  bool synchronize() override {
    if (_tooLarge || (_changed && !replaceFile(_path, _content))) return false;
    _changed = false;
    return true;
  }

 private:
  const std::string _path;
  Data _content;
  bool _changed = false;
  bool _tooLarge = false;  // An addition was refused; the rest is kept back with it.
};

// Closing the descriptor gives the lock up.
class MacFileLock final : public FileLock {
 public:
  explicit MacFileLock(Descriptor locked) : _locked(std::move(locked)) {}

 private:
  const Descriptor _locked;
};

class MacFiles final : public FilePort {
 public:
  std::string homeDirectory() override {
    @autoreleasepool {
      return textFromString(NSHomeDirectory()).value_or("/");
    }
  }

  std::optional<std::string> libraryDirectory() override {
    @autoreleasepool {
      return textFromString(
          NSSearchPathForDirectoriesInDomains(NSLibraryDirectory, NSUserDomainMask, YES)
              .firstObject);
    }
  }

  std::string expandTilde(const std::string& path) override {
    @autoreleasepool {
      return textFromString(foundationString(path).stringByExpandingTildeInPath).value_or(path);
    }
  }

  bool exists(const std::string& path) override {
    struct stat status {};
    return isUsable(path) && ::lstat(path.c_str(), &status) == 0;
  }

  std::optional<Data> read(const std::string& path) override {
    return readAll(openRegularFile(path, O_RDONLY));
  }

  bool createDirectories(const std::string& path) override {
    @autoreleasepool {
      NSString* folder = isUsable(path) ? foundationString(path) : nil;
      if (folder == nil) return false;
      return [NSFileManager.defaultManager createDirectoryAtPath:folder
                                     withIntermediateDirectories:YES
                                                      attributes:@{
                                                        NSFilePosixPermissions : @(kFolderMode)
                                                      }
                                                           error:nil];
    }
  }

  bool createFile(const std::string& path, const FileAttributes& attributes) override {
    if (!isUsable(path)) return false;
    const Descriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | kCarefully, kFileMode));
    if (!file.isOpen()) return false;
    // A volume without such marks keeps the file all the same.
    if (attributes.hidden) std::ignore = setMark(path, NSURLIsHiddenKey);
    if (attributes.excludedFromBackup) std::ignore = excludeFromBackup(path);
    return true;
  }

  bool writeAtomically(const std::string& path, const Data& data) override {
    return replaceFile(path, data);
  }

  std::unique_ptr<FileHandle> openForUpdating(const std::string& path) override {
    auto content = readAll(openRegularFile(path, O_RDWR));
    if (!content.has_value()) return nullptr;
    return std::make_unique<MacFileHandle>(path, *std::move(content));
  }

  bool excludeFromBackup(const std::string& path) override {
    return setMark(path, NSURLIsExcludedFromBackupKey);
  }

  std::optional<std::uint64_t> freeBytes(const std::string& path) override {
    @autoreleasepool {
      NSString* place = isUsable(path) ? foundationString(path) : nil;
      if (place == nil) return std::nullopt;
      NSDictionary* attributes = [NSFileManager.defaultManager attributesOfFileSystemForPath:place
                                                                                       error:nil];
      NSNumber* freeBytes = attributes[NSFileSystemFreeSize];
      if (freeBytes == nil) return std::nullopt;
      return freeBytes.unsignedLongLongValue;
    }
  }

  std::unique_ptr<FileLock> lockBeside(const std::string& path) override {
    if (!isUsable(path)) return nullptr;
    const std::string lockPath = path + ".lock";
    for (;;) {
      Descriptor file(retryOnSignal(
          [&] { return ::open(lockPath.c_str(), O_RDWR | O_CREAT | kCarefully, kFileMode); }));
      if (!file.isOpen()) return nullptr;
      if (retryOnSignal([&] { return ::flock(file.get(), LOCK_EX); }) != 0) return nullptr;
      struct stat status {};
      if (::fstat(file.get(), &status) != 0) return nullptr;
      // Removed by somebody while we waited: the others wait at a new file of that name.
      if (status.st_nlink > 0) return std::make_unique<MacFileLock>(std::move(file));
    }
  }
};

}  // namespace

FilePort& macosFilePort() {
  static auto& port = *new MacFiles;
  return port;
}

}  // namespace zor
