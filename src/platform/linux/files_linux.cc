#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "literals/literals.h"
#include "platform/linux/file_reading.h"
#include "platform/linux/library_folders.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/text_lines.h"
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
  // Not every file system supports this.
  return result == 0 || errno == EINVAL || errno == ENOTSUP ? 0 : errno;
}

void copyMarks(const std::string& /*from*/, const std::string& /*to*/) {}

namespace {

// The process in a line of /proc/locks, if the lock is on the file `place` ("08:01:123"): "1: FLOCK
// ADVISORY  WRITE 4711 08:01:123 0 EOF".
std::optional<std::string> holderInLine(std::string_view line, std::string_view place) {
  const auto fields = words(line);
  if (fields.size() < 6 || fields[1] != "FLOCK" || fields[5] != place) return std::nullopt;
  return std::string(fields[4]);
}

// "process 4711 (editor)", and what it is waiting for, if anything. From /proc/PID/stat: "4711
// (editor) T".
std::string describedProcess(const std::string& identifier) {
  const std::string stat = readSmallFile("/proc/" + identifier + "/stat").value_or("");
  const std::size_t name = stat.find('(');
  const std::size_t end = stat.rfind(')');
  std::string text = "process " + identifier;
  if (name == std::string::npos || end == std::string::npos || end + 2 >= stat.size()) return text;
  text += " " + stat.substr(name, end + 1 - name);
  const char state = stat[end + 2];
  if (state == 'T' || state == 't') text += ", which is stopped,";
  if (state == 'D') text += ", which waits for a device,";
  return text;
}

}  // namespace

std::string lockHolder(int descriptor) {
  struct stat status {};
  const auto locks = readSmallFile("/proc/locks");
  if (!locks || ::fstat(descriptor, &status) != 0) return "another process";
  char place[64];
  std::snprintf(place, sizeof place, "%02x:%02x:%ju", major(status.st_dev), minor(status.st_dev),
                static_cast<std::uintmax_t>(status.st_ino));
  for (const std::string_view line : lines(*locks)) {
    if (const auto holder = holderInLine(line, place)) return describedProcess(*holder);
  }
  return "another process";
}

// Not strerror(), which uses the host's language and a buffer shared between threads.
std::string systemErrorText(int error) {
  const char* description = ::strerrordesc_np(error);
  return description != nullptr ? description : "error " + std::to_string(error);
}

FilePort& linuxFilePort() {
  static constinit MadeOnce<LinuxFiles> port;
  return port.get();
}

}  // namespace zor
