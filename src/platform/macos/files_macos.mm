#import <Foundation/Foundation.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <tuple>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"
#include "platform/posix/file_io.h"
#include "platform/posix/files_posix.h"

namespace zor {
namespace {

NSURL* fileUrl(const std::string& path) {
  return isUsablePath(path) ? [NSURL fileURLWithFileSystemRepresentation:path.c_str()
                                                             isDirectory:NO
                                                           relativeToURL:nil]
                            : nil;
}

Status setMark(const std::string& path, NSURLResourceKey mark) {
  @autoreleasepool {
    NSURL* url = fileUrl(path);
    NSError* error = nil;
    const bool marked = [url setResourceValue:@YES forKey:mark error:&error];
    if (marked && error == nil) return {};
    return Status::unusable("cannot mark " + path,
                            textFromString(error.localizedDescription).value_or(""));
  }
}

class MacFiles final : public PosixFiles {
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

  Status createFile(const std::string& path, const FileAttributes& attributes) override {
    Status status = PosixFiles::createFile(path, attributes);
    if (!status.isSuccess()) return status;
    // The file is created even on a volume without such marks.
    if (attributes.hidden) std::ignore = setMark(path, NSURLIsHiddenKey);
    if (attributes.excludedFromBackup) std::ignore = excludeFromBackup(path);
    return status;
  }

  Status excludeFromBackup(const std::string& path) override {
    return setMark(path, NSURLIsExcludedFromBackupKey);
  }

  std::optional<std::uint64_t> freeBytes(const std::string& path) override {
    @autoreleasepool {
      NSString* place = isUsablePath(path) ? foundationString(path) : nil;
      if (place == nil) return std::nullopt;
      NSDictionary* attributes = [NSFileManager.defaultManager attributesOfFileSystemForPath:place
                                                                                       error:nil];
      NSNumber* freeBytes = attributes[NSFileSystemFreeSize];
      if (freeBytes == nil) return std::nullopt;
      return freeBytes.unsignedLongLongValue;
    }
  }
};

}  // namespace

// fsync alone leaves the data in the drive's cache; not every file system supports the full call.
int synchronizeToDisk(int descriptor) {
  return ::fcntl(descriptor, F_FULLFSYNC) == 0 || ::fsync(descriptor) == 0 ? 0 : errno;
}

void copyMarks(const std::string& from, const std::string& to) {
  @autoreleasepool {
    for (NSURLResourceKey mark in @[ NSURLIsHiddenKey, NSURLIsExcludedFromBackupKey ]) {
      NSNumber* value = nil;
      const bool known = [fileUrl(from) getResourceValue:&value forKey:mark error:nil];
      if (known && value.boolValue) std::ignore = setMark(to, mark);
    }
  }
}

// The system does not reveal who holds a lock of this kind.
std::string lockHolder(int /*descriptor*/) { return "another process"; }

std::string systemErrorText(int error) {
  char text[256];
  const bool known = ::strerror_r(error, text, sizeof text) == 0;
  return known ? text : "error " + std::to_string(error);
}

FilePort& macosFilePort() {
  static constinit MadeOnce<MacFiles> port;
  return port.get();
}

}  // namespace zor
