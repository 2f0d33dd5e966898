#include "files/ZORSecFileUti.h"

#include <tuple>
#include <utility>

#include "literals/literals.h"
#include "platform/log.h"
#include "platform/ports.h"
#include "support/text.h"

namespace zor {
namespace {

// Deliberately high: a small report is no reason to write to a disk that is filling up.
constexpr float kMinFreeMiB = 5120.0F;
constexpr float kMiBPerByte = 1.0F / (1 << 20);  // Exact in binary.

std::optional<std::string> asText(const std::optional<Data>& data) {
  if (!data || data->empty()) return std::nullopt;
  return textFromUtf8(*data);
}

}  // namespace

bool isFreeSpaceAmple(std::uint64_t freeBytes) {
  return static_cast<float>(freeBytes) * kMiBPerByte >= kMinFreeMiB;
}

ZORSecFileUti::ZORSecFileUti(std::string fileName, std::string path)
    : _filePath(std::move(path)), _fileName(std::move(fileName)) {
  if (!_filePath.empty() && !ports().files.exists(fullPath())) _creation = createFile();
}

ZORSecFileUti::~ZORSecFileUti() { std::ignore = close(); }

std::string ZORSecFileUti::fullPath() const {
  return _filePath.empty() ? std::string() : pathByAppending(_filePath, _fileName);
}

// If it fails there is no file to open, and the instance works without one.
Status ZORSecFileUti::createFile() {
  FilePort& files = ports().files;
  Status created = files.createDirectories(_filePath);
  if (created.isSuccess()) created = files.createFile(fullPath(), FileAttributes{});
  const Status excluded = files.excludeFromBackup(fullPath());
  if (!excluded.isSuccess()) {
    logLine(
        formatText(literals::kBackupExclusionLogFormat.view(), {fullPath(), excluded.reason()}));
  }
  return created;
}

void ZORSecFileUti::open() {
  if (_isOpen) return;
  // Deliberate: counts as open without a handle too, so that the file is not tried again and again.
  _isOpen = true;
  if (_filePath.empty()) {
    _status = Status::unusable("cannot open " + _fileName, "the user has no home folder");
    return;
  }
  auto opened = ports().files.openForUpdating(fullPath());
  if (opened) _fileHandle = std::move(*opened);
  _status = opened.status();
  if (!opened && _status.isSuccess()) {
    _status = _creation.isSuccess()
                  ? Status::unusable("cannot open " + fullPath(), "it was removed")
                  : _creation;
  }
}

Status ZORSecFileUti::close() {
  if (!_isOpen) return {};
  Status status = _fileHandle ? _fileHandle->synchronize() : _status;
  _fileHandle.reset();
  _isOpen = false;
  return status;
}

bool ZORSecFileUti::appendStr(const std::string& text) { return appendData(utf8Bytes(text)); }

bool ZORSecFileUti::appendData(const Data& data) {
  if (data.empty()) return false;
  const auto freeBytes = ports().files.freeBytes(ports().files.homeDirectory());
  if (!freeBytes || !isFreeSpaceAmple(*freeBytes)) return false;
  if (_fileHandle) _fileHandle->append(data);
  return true;  // Deliberate: also without a handle.
}

std::optional<std::string> ZORSecFileUti::readStrInRange(FileRange range) {
  return asText(readDataInRange(range));
}

std::optional<std::string> ZORSecFileUti::readToTheEndOfFile() {
  return asText(readDataToThenEndOfFile());
}

std::optional<Data> ZORSecFileUti::readDataInRange(FileRange range) {
  const std::uint64_t sizeBytes = size();
  // Not location + length, which may wrap around.
  if (!_fileHandle || range.location > sizeBytes || range.length > sizeBytes - range.location) {
    return std::nullopt;
  }
  Data data = _fileHandle->read(range.location, range.length);
  if (data.size() != range.length) return std::nullopt;
  return data;
}

std::optional<Data> ZORSecFileUti::readDataToThenEndOfFile() {
  if (!_fileHandle) return std::nullopt;
  Data data = _fileHandle->read(0, size());
  if (data.empty()) return std::nullopt;
  return data;
}

std::uint64_t ZORSecFileUti::size() { return _fileHandle ? _fileHandle->sizeBytes() : 0; }

// Not put on the disk before close(): a kill between this and an append that follows would else
// lose the old content without the new one in its place.
void ZORSecFileUti::clearContent() {
  if (_fileHandle) _fileHandle->truncate();
}

}  // namespace zor
