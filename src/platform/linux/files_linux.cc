#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "literals/literals.h"
#include "platform/linux/file_io.h"
#include "platform/linux/linux_ports.h"

namespace zor {
namespace {

// A copy of the file in memory, which replaces the file as a whole.
class LinuxFileHandle final : public FileHandle {
 public:
  LinuxFileHandle(std::string path, Data content)
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
    if (_tooLarge) return false;
    if (_changed && replaceFile(_path, textOf(_content)) != 0) return false;
    _changed = false;
    return true;
  }

 private:
  const std::string _path;
  Data _content;
  bool _changed = false;
  bool _tooLarge = false;  // An addition was refused; the rest is kept back with it.
};

class LinuxFileLock final : public FileLock {
 public:
  explicit LinuxFileLock(std::unique_ptr<FileSystemLock> lock) : _lock(std::move(lock)) {}

 private:
  const std::unique_ptr<FileSystemLock> _lock;
};

class LinuxFiles final : public FilePort {
 public:
  std::string homeDirectory() override { return homeFolder().value_or("/"); }

  std::optional<std::string> libraryDirectory() override {
    return folderOfLibrary(literals::kDataHomeVariable.c_str(), ".local/share");
  }

  // "~name" is left alone: looking a user up may ask a server.
  std::string expandTilde(const std::string& path) override {
    const bool expands = path == "~" || path.compare(0, 2, "~/") == 0;
    return expands ? homeDirectory() + path.substr(1) : path;
  }

  bool exists(const std::string& path) override {
    struct stat status {};
    return isUsable(path) && ::lstat(path.c_str(), &status) == 0;
  }

  std::optional<Data> read(const std::string& path) override {
    Data content;
    if (readWholeFile(path, kLargestFileBytes, content) != 0) return std::nullopt;
    return content;
  }

  bool createDirectories(const std::string& path) override { return makeFolders(path) == 0; }

  bool createFile(const std::string& path, const FileAttributes& /*attributes*/) override {
    if (!isUsable(path)) return false;
    const FileDescriptor file(::open(
        path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY, kFileMode));
    // The umask may have taken bits away.
    return file.isOpen() && ::fchmod(file.get(), kFileMode) == 0;
  }

  bool writeAtomically(const std::string& path, const Data& data) override {
    return replaceFile(path, textOf(data)) == 0;
  }

  std::unique_ptr<FileHandle> openForUpdating(const std::string& path) override {
    int error = 0;
    if (!openRegularFile(path, O_RDWR, error).isOpen()) return nullptr;
    auto content = read(path);
    if (!content) return nullptr;
    return std::make_unique<LinuxFileHandle>(path, std::move(*content));
  }

  bool excludeFromBackup(const std::string& /*path*/) override { return true; }

  std::optional<std::uint64_t> freeBytes(const std::string& path) override {
    struct statvfs figures {};
    if (!isUsable(path)) return std::nullopt;
    int result = ::statvfs(path.c_str(), &figures);
    while (result != 0 && errno == EINTR) result = ::statvfs(path.c_str(), &figures);
    if (result != 0) return std::nullopt;
    return std::uint64_t{figures.f_bavail} * figures.f_frsize;
  }

  std::unique_ptr<FileLock> lockBeside(const std::string& path) override {
    int error = 0;
    auto lock = FileSystemLock::acquire(lockPathBeside(path), error);
    return lock == nullptr ? nullptr : std::make_unique<LinuxFileLock>(std::move(lock));
  }

 private:
  static constexpr mode_t kFileMode = 0600;

  // A path with a NUL inside would name another file than its owner meant.
  static bool isUsable(const std::string& path) {
    return !path.empty() && path.find('\0') == std::string::npos;
  }
};

}  // namespace

FilePort& linuxFilePort() {
  static auto& port = *new LinuxFiles;
  return port;
}

}  // namespace zor
