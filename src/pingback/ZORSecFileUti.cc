#include "pingback/ZORSecFileUti.h"

#include <tuple>
#include <utility>

#include "literals/literals.h"
#include "platform/log.h"
#include "platform/ports.h"
#include "support/text.h"

namespace zor {
namespace {

// Deliberately high: a small report is no reason to write to a disk that is filling up.
constexpr float kLeastFreeMiB = 5120.0F;
constexpr float kMiBPerByte = 1.0F / (1 << 20);  // Exact in binary.

std::optional<std::string> asText(const std::optional<Data>& data) {
  if (!data || data->empty()) return std::nullopt;
  return textFromUtf8(*data);
}

}  // namespace

bool isFreeSpaceAmple(std::uint64_t freeBytes) {
  return static_cast<float>(freeBytes) * kMiBPerByte >= kLeastFreeMiB;
}

ZORSecFileUti::ZORSecFileUti(std::string fileName, std::string path)
    : _filePath(std::move(path)), _fileName(std::move(fileName)) {
  if (!_filePath.empty() && !ports().files.exists(fullPath())) createFile();
}

ZORSecFileUti::~ZORSecFileUti() { close(); }

std::string ZORSecFileUti::fullPath() const {
  return _filePath.empty() ? std::string() : pathByAppending(_filePath, _fileName);
}

void ZORSecFileUti::createFile() {
  FilePort& files = ports().files;
  // Where either fails there is no file to open, and the instance works as one without.
  std::ignore = files.createDirectories(_filePath);
  std::ignore = files.createFile(fullPath(), FileAttributes{});
  const auto problem = files.excludeFromBackup(fullPath());
  if (problem)
    logLine(formatText(literals::kBackupExclusionLogFormat.view(), {fullPath(), problem}));
}

void ZORSecFileUti::open() {
  if (_isOpen) return;
  // Deliberate: open even when there is no handle, so that the file is not tried over and over.
  _isOpen = true;
  if (!_filePath.empty()) _fileHandle = ports().files.openForUpdating(fullPath());
}

void ZORSecFileUti::close() {
  if (!_isOpen) return;
  // What cannot be kept is lost: the file stays as it was, and no one waits for the outcome.
  if (_fileHandle) std::ignore = _fileHandle->synchronize();
  _fileHandle.reset();
  _isOpen = false;
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
