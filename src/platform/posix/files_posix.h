// The file port as far as both platforms have it from POSIX.
#ifndef ZOR_PLATFORM_POSIX_FILES_POSIX_H_
#define ZOR_PLATFORM_POSIX_FILES_POSIX_H_

#include <memory>
#include <optional>
#include <string>

#include "platform/file_port.h"

namespace zor {

// What is left to a backend: the folders, the marks and the volume's figures.
class PosixFiles : public FilePort {
 public:
  bool exists(const std::string& path) final;
  std::optional<Data> read(const std::string& path) final;
  bool createDirectories(const std::string& path) final;
  // The marks among the attributes are the backend's business.
  bool createFile(const std::string& path, const FileAttributes& attributes) override;
  bool writeAtomically(const std::string& path, const Data& data) final;
  std::unique_ptr<FileHandle> openForUpdating(const std::string& path) final;
  std::unique_ptr<FileLock> lockBeside(const std::string& path) final;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_POSIX_FILES_POSIX_H_
