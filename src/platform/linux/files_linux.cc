#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "literals/literals.h"
#include "platform/linux/library_folders.h"
#include "platform/linux/linux_ports.h"
#include "platform/posix/file_io.h"
#include "platform/posix/files_posix.h"

namespace zor {
namespace {

class LinuxFiles final : public PosixFiles {
 public:
  std::string homeDirectory() override { return homeFolder().value_or("/"); }

  std::optional<std::string> libraryDirectory() override {
    return folderOfLibrary(literals::kDataHomeVariable.c_str(), ".local/share");
  }

  Status excludeFromBackup(const std::string& /*path*/) override { return {}; }

  std::optional<std::uint64_t> freeBytes(const std::string& path) override {
    struct statvfs figures {};
    if (!isUsablePath(path)) return std::nullopt;
    if (retryOnSignal([&] { return ::statvfs(path.c_str(), &figures); }) != 0) return std::nullopt;
    return std::uint64_t{figures.f_bavail} * figures.f_frsize;
  }
};

}  // namespace

int synchronizeToDisk(int descriptor) {
  const int result = retryOnSignal([descriptor] { return ::fdatasync(descriptor); });
  // A file system may not have that notion.
  return result == 0 || errno == EINVAL || errno == ENOTSUP ? 0 : errno;
}

void copyMarks(const std::string& /*from*/, const std::string& /*to*/) {}

// Not strerror(), which speaks the host's language and is shared between threads.
std::string systemErrorText(int error) {
  const char* description = ::strerrordesc_np(error);
  return description != nullptr ? description : "error " + std::to_string(error);
}

FilePort& linuxFilePort() {
  static auto& port = *new LinuxFiles;
  return port;
}

}  // namespace zor
