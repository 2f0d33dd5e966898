#include "platform/posix/files_posix.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

#include "platform/posix/file_io.h"
#include "support/text.h"

namespace zor {
namespace {

// A copy of the file in memory, which replaces the file as a whole.
class CopiedFileHandle final : public FileHandle {
 public:
  CopiedFileHandle(std::string path, Data content)
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

class PosixFileLock final : public FileLock {
 public:
  explicit PosixFileLock(std::unique_ptr<FileSystemLock> lock) : _lock(std::move(lock)) {}

 private:
  const std::unique_ptr<FileSystemLock> _lock;
};

}  // namespace

bool PosixFiles::exists(const std::string& path) {
  struct stat status {};
  return isUsablePath(path) && ::lstat(path.c_str(), &status) == 0;
}

std::optional<Data> PosixFiles::read(const std::string& path) {
  Data content;
  if (readWholeFile(path, kLargestFileBytes, content) != 0) return std::nullopt;
  return content;
}

bool PosixFiles::createDirectories(const std::string& path) { return makeFolders(path) == 0; }

bool PosixFiles::createFile(const std::string& path, const FileAttributes& /*attributes*/) {
  if (!isUsablePath(path)) return false;
  const FileDescriptor file(::open(
      path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY, kOwnFileMode));
  // The umask may have taken bits away.
  return file.isOpen() && ::fchmod(file.get(), kOwnFileMode) == 0;
}

bool PosixFiles::writeAtomically(const std::string& path, const Data& data) {
  return replaceFile(path, textOf(data)) == 0;
}

std::unique_ptr<FileHandle> PosixFiles::openForUpdating(const std::string& path) {
  int error = 0;
  if (!openRegularFile(path, O_RDWR, error).isOpen()) return nullptr;
  Data content;
  error = readWholeFile(path, kLargestFileBytes, content);
  if (error != 0 && error != EFBIG) return nullptr;
  return std::make_unique<CopiedFileHandle>(path, std::move(content));
}

std::unique_ptr<FileLock> PosixFiles::lockBeside(const std::string& path) {
  int error = 0;
  auto lock = FileSystemLock::acquire(lockPathBeside(path), error);
  return lock == nullptr ? nullptr : std::make_unique<PosixFileLock>(std::move(lock));
}

}  // namespace zor
