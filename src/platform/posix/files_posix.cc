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
    // Content too large to be read back must not replace content that can be.
    _tooLarge = _tooLarge || data.size() > kMaxFileBytes - _content.size();
    if (_tooLarge) return;
    _content.insert(_content.end(), data.begin(), data.end());
    _changed = _changed || !data.empty();
  }

  void truncate() override {
    _changed = true;
    _tooLarge = false;
    _content.clear();
  }

  Status synchronize() override {
    if (_tooLarge) return Status::unusable("cannot write " + _path, "too large");
    if (!_changed) return {};
    Status status = replaceFile(_path, textOf(_content));
    _changed = !status.isSuccess();
    return status;
  }

 private:
  const std::string _path;
  Data _content;
  bool _changed = false;
  bool _tooLarge = false;  // An addition was refused, so nothing is written.
};

}  // namespace

bool PosixFiles::exists(const std::string& path) {
  struct stat status {};
  return isUsablePath(path) && ::lstat(path.c_str(), &status) == 0;
}

Reading<Data> PosixFiles::read(const std::string& path) {
  return readWholeFile(path, kMaxFileBytes);
}

Status PosixFiles::createDirectories(const std::string& path) { return makeFolders(path); }

Status PosixFiles::createFile(const std::string& path, const FileAttributes& /*attributes*/) {
  if (!isUsablePath(path)) return systemFailure("create", path, EINVAL);
  const FileDescriptor file =
      openFile(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY, kOwnFileMode);
  // The umask may have cleared bits.
  const bool created =
      file.isOpen() && retryOnSignal([&] { return ::fchmod(file.get(), kOwnFileMode); }) == 0;
  return created ? Status() : systemFailure("create", path);
}

Status PosixFiles::writeAtomically(const std::string& path, const Data& data) {
  return replaceFile(path, textOf(data));
}

Status PosixFiles::removeFile(const std::string& path) { return removeFileAt(path); }

Reading<std::unique_ptr<FileHandle>> PosixFiles::openForUpdating(const std::string& path) {
  const auto file = openRegularFile(path, O_RDWR);
  if (!file) return file.status();
  auto content = readWholeFile(path, kMaxFileBytes);
  if (!content && !content.status().isUnusable()) return content.status();
  std::unique_ptr<FileHandle> handle =
      std::make_unique<CopiedFileHandle>(path, content ? std::move(*content) : Data());
  return handle;
}

LockAttempt PosixFiles::lockBeside(const std::string& path) {
  return FileSystemLock::acquire(lockPathBeside(path));
}

}  // namespace zor
