// The part of the file port that both platforms implement with POSIX.
#ifndef ZOR_PLATFORM_POSIX_FILES_POSIX_H_
#define ZOR_PLATFORM_POSIX_FILES_POSIX_H_

#include <memory>
#include <string>

#include "platform/file_port.h"

namespace zor {

// What is left to a backend: the folders, the marks and the volume's figures.
class PosixFiles : public FilePort {
 public:
  bool exists(const std::string& path) final;
  Reading<Data> read(const std::string& path) final;
  Status createDirectories(const std::string& path) final;
  // The marks among the attributes are the backend's business.
  Status createFile(const std::string& path, const FileAttributes& attributes) override;
  Status writeAtomically(const std::string& path, const Data& data) final;
  Status removeFile(const std::string& path) final;
  Reading<std::unique_ptr<FileHandle>> openForUpdating(const std::string& path) final;
  LockAttempt lockBeside(const std::string& path) final;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_POSIX_FILES_POSIX_H_
