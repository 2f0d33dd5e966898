// One file of the library: created on first use, kept out of backups, appended to only while the
// disk has ample free space.
#ifndef ZOR_FILES_ZORSECFILEUTI_H_
#define ZOR_FILES_ZORSECFILEUTI_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/file_port.h"
#include "support/status.h"

namespace zor {

// A range of a file, in bytes.
struct FileRange {
  std::uint64_t location = 0;
  std::uint64_t length = 0;
};

// Whether a volume with that much free space may be written to: at least 5120 MiB, calculated in
// single precision.
bool isFreeSpaceAmple(std::uint64_t freeBytes);

// Threads:  no lock of its own; one thread or serial queue at a time.
// On disk:  what changes between open() and close() gets there at close(), as one change; a kill
//           before leaves the file as it was.
// No file:  where the file cannot be opened (deleted, a folder, a symbolic link, no permission, or
//           an empty directory) readers give nothing, size() is 0, clearContent() does nothing and
//           the appending calls report as if they had written; status() says why.
class ZORSecFileUti {
 public:
  // Selector: initWithFileName:path:
  // Represents the file `fileName` in the directory `path`. Creates both if the file is missing and
  // ignores failures; an existing file is not changed.
  ZORSecFileUti(std::string fileName, std::string path);
  ~ZORSecFileUti();  // Closes.
  ZORSecFileUti(const ZORSecFileUti&) = delete;
  ZORSecFileUti& operator=(const ZORSecFileUti&) = delete;

  const std::string& filePath() const { return _filePath; }  // The directory.
  const std::string& fileName() const { return _fileName; }
  // The two joined; empty when the directory is.
  std::string fullPath() const;

  // Opens for reading and writing; does nothing when open, even if the first time failed.
  void open();
  // Writes the changes to the disk and closes; does nothing when closed. Changes that cannot be
  // written are lost, and the file stays as it was.
  Status close();
  // Why there is no file to work on; success while one is open.
  const Status& status() const { return _status; }

  // Selector: appendStr:
  // As appendData with the text's bytes.
  bool appendStr(const std::string& text);
  // Selector: appendData:
  // Adds `data` at the end of the file. False, and nothing is written: empty data, too little free
  // space on the volume of the home folder, or no answer about it.
  bool appendData(const Data& data);

  // Selector: readStrInRange:
  // As readDataInRange; nullopt also for no bytes and for bytes that are not valid UTF-8.
  std::optional<std::string> readStrInRange(FileRange range);
  // The whole file; nullopt if it is empty or not valid UTF-8.
  std::optional<std::string> readToTheEndOfFile();
  // Selector: readDataInRange:
  // nullopt unless the whole range lies within the file.
  std::optional<Data> readDataInRange(FileRange range);
  // The whole file; nullopt when it is empty. Spelled so in the interface.
  std::optional<Data> readDataToThenEndOfFile();

  std::uint64_t size();  // In bytes.
  void clearContent();   // Truncates to nothing.

 private:
  Status createFile();

  const std::string _filePath;
  const std::string _fileName;
  std::unique_ptr<FileHandle> _fileHandle;  // Null also while open, see above.
  bool _isOpen = false;
  Status _creation;  // Of the constructor's attempt.
  Status _status;    // Of the last open().
};

}  // namespace zor

#endif  // ZOR_FILES_ZORSECFILEUTI_H_
