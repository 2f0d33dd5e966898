#include "platform/linux/file_reading.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/posix/file_io.h"
#include "platform/probe_trace.h"

namespace zor {
namespace {

// Appends one piece, up to `limitBytes` in all. Returns its size, 0 at the end, negative on
// failure.
ssize_t readPiece(int descriptor, std::size_t limitBytes, std::string& content) {
  char piece[4096];
  const std::size_t wanted = std::min(sizeof piece, limitBytes - content.size());
  const ssize_t size =
      wanted == 0 ? 0 : retryOnSignal([&] { return ::read(descriptor, piece, wanted); });
  if (size > 0) content.append(piece, static_cast<std::size_t>(size));
  return size;
}

}  // namespace

std::optional<std::string> readSmallFile(const std::string& path, std::size_t limitBytes) {
  return readSmallFile(path, limitBytes, path);
}

std::optional<std::string> readSmallFile(const std::string& path, std::size_t limitBytes,
                                         const std::string& label) {
  noteProbeSource(label);
  // Non-blocking, so that a pipe in place of the file cannot stall the host.
  const FileDescriptor file = openFile(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (!file.isOpen()) {
    if (errno == EACCES || errno == EPERM) noteProbeDenied(label);
    return std::nullopt;
  }
  std::string content;
  ssize_t size = 0;
  do {
    size = readPiece(file.get(), limitBytes, content);
  } while (size > 0);
  // A device that has gone since the file was opened has no value, not an empty one.
  if (size < 0) return std::nullopt;
  return content;
}

}  // namespace zor
