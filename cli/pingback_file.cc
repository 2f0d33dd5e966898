#include "cli/pingback_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "pingback/ZORSecPingbackStore.h"
#include "platform/ports.h"
#include "platform/posix/file_io.h"

namespace zor::cli {
namespace {

// What kept the store from making the file when it was missing; 0: nothing does now.
int whyNotMade(const std::string& folder) {
  if (const int error = makeFolders(folder); error != 0) return error;
  return ::access(folder.c_str(), W_OK | X_OK) == 0 ? 0 : errno;
}

int whyNotOpened(const ZORSecFileUti& file) {
  int error = 0;
  if (openRegularFile(file.fullPath(), O_RDWR, error).isOpen()) {
    Data content;
    return readWholeFile(file.fullPath(), kLargestFileBytes, content);
  }
  return error == ENOENT || error == ENOTDIR ? whyNotMade(file.filePath()) : error;
}

std::string reasonText(int error) {
  if (error == ELOOP) return "It is a symbolic link";
  if (error == EINVAL) return "It is no regular file";
  const char* description = ::strerrordesc_np(error);
  return description != nullptr ? description : "Error " + std::to_string(error);
}

}  // namespace

std::optional<std::string> pingbackFileProblem() {
  const auto file = GetPingbackStore()->file();
  const std::string path = file->fullPath();
  if (path.empty()) return "There is no home folder to keep failure records in.";
  if (ports().files.openForUpdating(path) != nullptr) return std::nullopt;
  const int error = whyNotOpened(*file);
  if (error == 0) return std::nullopt;
  return "The file of failure records, " + path + ", cannot be opened: " + reasonText(error) + ".";
}

}  // namespace zor::cli
