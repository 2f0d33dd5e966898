#include "platform/linux/defaults_linux.h"

#include <time.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <tuple>

#include "literals/literals.h"
#include "platform/linux/bundle_linux.h"
#include "platform/linux/library_folders.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/property_json.h"
#include "platform/log.h"
#include "platform/posix/file_io.h"
#include "platform/probe_trace.h"
#include "support/fork_hooks.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

// What stands in a defaults file, and what a change has to do about it.
struct Content {
  Json values = Json::object();
  int error = 0;         // It could not be read for now; it must not be replaced.
  bool damaged = false;  // There is something that holds no values; it is put aside.
};

Content readContent(const std::string& path) {
  Content content;
  Data bytes;
  switch (const int error = readWholeFile(path, kLargestFileBytes, bytes)) {
    case 0:
      break;
    case ENOENT:
    case ENOTDIR:
    case EINVAL:  // A folder or a device: not ours to move away, and no file is lost.
      return content;
    case ELOOP:
    case EACCES:
    case EPERM:
    case EFBIG:
      content.damaged = true;
      return content;
    default:
      content.error = error;
      return content;
  }
  auto values = parseJson(textOf(bytes));
  content.damaged = !bytes.empty() && (!values || !values->is_object());
  if (values && values->is_object()) content.values = std::move(*values);
  return content;
}

// Now, but later than every earlier version of the file, so that no two versions look alike even
// when the clock was set back or counts coarsely.
timespec laterThan(const timespec& earlier) {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  if (now.tv_sec > earlier.tv_sec) return now;
  if (now.tv_sec == earlier.tv_sec && now.tv_nsec > earlier.tv_nsec) return now;
  const bool carries = earlier.tv_nsec >= 999999999;
  return {earlier.tv_sec + (carries ? 1 : 0), carries ? 0 : earlier.tv_nsec + 1};
}

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

std::string executableName() {
  const std::string path = executablePath();
  return path.empty() ? program_invocation_short_name : path.substr(path.rfind('/') + 1);
}

std::optional<std::string> standardPath() {
  const auto folder = folderOfLibrary(literals::kConfigHomeVariable.c_str(), ".config");
  if (!folder) return std::nullopt;
  const auto identifier = linuxBundlePort().bundleIdentifier();
  return *folder + "/" + safeFileName(identifier ? *identifier : executableName()) + ".json";
}

}  // namespace

std::optional<LinuxDefaults::Version> LinuxDefaults::versionAt(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return std::nullopt;
  return Version{status.st_dev, status.st_ino, status.st_size, status.st_mtim};
}

std::optional<PropertyValue> LinuxDefaults::objectForKey(const std::string& key) {
  noteProbeSource("user defaults");
  const MutexLock lock(_mutex);
  dropChangesOfParent();
  const auto waiting = _waiting.find(key);
  if (waiting != _waiting.end()) return waiting->second.value;
  refresh();
  const auto found = _stored.find(key);
  return found == _stored.end() ? std::nullopt : propertyFromJson(*found);
}

void LinuxDefaults::setObject(const std::string& key, const PropertyValue& value) {
  change(key, {value, jsonFromProperty(value)});
}

void LinuxDefaults::removeObject(const std::string& key) { change(key, {}); }

void LinuxDefaults::change(const std::string& key, Change change) {
  // Such a value must not keep the others from being written.
  const bool storable = isValidUtf8(key) && (!change.value || change.json);
  {
    const MutexLock lock(_mutex);
    dropChangesOfParent();
    if (holdsAlready(key, change)) return;
    change.madeUnseen = _unreadable;
    change.number = ++_changeCount;
    _waiting.insert_or_assign(key, std::move(change));
  }
  const int error = commit();
  if (error != 0) logOnce(error);
  if (!storable) logOnce(EILSEQ);
}

bool LinuxDefaults::holdsAlready(const std::string& key, const Change& change) {
  if (_waiting.count(key) != 0) return false;
  refresh();
  const auto found = _stored.find(key);
  if (!change.value) return found == _stored.end();
  return change.json && found != _stored.end() && *found == *change.json;
}

int LinuxDefaults::commit() {
  std::optional<std::string> file;
  {
    const MutexLock lock(_mutex);
    file = path();
  }
  if (!file) return ENOENT;
  if (const int error = makeFolders(folderOf(*file)); error != 0) return error;
  int error = 0;
  const auto held = FileSystemLock::acquire(lockPathBeside(*file), error);
  if (held == nullptr) return error;
  const Changes changes = storableChanges();
  if (changes.empty()) return 0;  // Another thread has written ours with its own.
  error = rewrite(*file, changes);
  // What is too large for the file would hold up every later change. A limit of this process
  // (EFBIG) may be lifted.
  if (error == 0 || error == EOVERFLOW) forget(changes);
  return error;
}

int LinuxDefaults::rewrite(const std::string& path, const Changes& changes) {
  Content content = readContent(path);
  if (content.error != 0) return content.error;
  for (const auto& [key, change] : changes) {
    if (change.madeUnseen && content.values.contains(key)) continue;
    if (change.json) {
      content.values[key] = *change.json;
    } else {
      content.values.erase(key);
    }
  }
  const auto text = serializeJson(content.values);
  if (!text) return EILSEQ;
  if (text->size() > kLargestFileBytes) return EOVERFLOW;
  const auto version = versionAt(path);
  // Failing that, the damaged file is replaced.
  if (content.damaged) std::ignore = ::rename(path.c_str(), (path + ".damaged").c_str());
  return replaceFile(path, *text, laterThan(version ? version->modifiedAt : timespec{}));
}

LinuxDefaults::Changes LinuxDefaults::storableChanges() {
  const MutexLock lock(_mutex);
  Changes changes;
  for (const auto& [key, change] : _waiting) {
    if (isValidUtf8(key) && (!change.value || change.json)) changes.emplace(key, change);
  }
  return changes;
}

void LinuxDefaults::forget(const Changes& kept) {
  const MutexLock lock(_mutex);
  for (const auto& [key, change] : kept) {
    const auto waiting = _waiting.find(key);
    // One that was changed again meanwhile is still to be written.
    if (waiting != _waiting.end() && waiting->second.number == change.number) {
      _waiting.erase(waiting);
    }
  }
}

void LinuxDefaults::refresh() {
  const auto file = path();
  if (!file) return;
  const auto version = versionAt(*file);
  _unreadable = false;
  if (version == _version) return;
  Content content = readContent(*file);
  _unreadable = content.error != 0;
  if (_unreadable) return;  // What is in memory serves until the file can be read.
  _stored = std::move(content.values);
  _version = version;
}

std::optional<std::string> LinuxDefaults::path() {
  if (!_located) _path = _locate();
  _located = true;
  return _path;
}

void LinuxDefaults::logOnce(int error) {
  {
    const MutexLock lock(_mutex);
    if (!_loggedErrors.insert(error).second) return;
  }
  const char* description = ::strerrordesc_np(error);  // In English and safe between threads.
  logLine(std::string("zorfingerprint: user defaults cannot be kept: ") +
          (description != nullptr ? description : "unknown error"));
}

// The parent tries its changes itself; made again here, they could undo what it did later.
void LinuxDefaults::dropChangesOfParent() {
  if (_forked) _waiting.clear();
  _forked = false;
}

void LinuxDefaults::surviveForks() {
  registerForkHook({ForkRank::portState, this,
                    [](void* self) ZOR_NO_THREAD_SAFETY_ANALYSIS {
                      static_cast<LinuxDefaults*>(self)->_mutex.lock();
                    },
                    [](void* self) ZOR_NO_THREAD_SAFETY_ANALYSIS {
                      static_cast<LinuxDefaults*>(self)->_mutex.unlock();
                    },
                    [](void* self) ZOR_NO_THREAD_SAFETY_ANALYSIS {
                      auto* const defaults = static_cast<LinuxDefaults*>(self);
                      defaults->_forked = true;
                      defaults->_mutex.unlock();
                    }});
}

DefaultsPort& linuxDefaultsPort() {
  static auto& port = *[] {
    auto* const defaults = new LinuxDefaults(standardPath);
    defaults->surviveForks();
    return defaults;
  }();
  return port;
}

}  // namespace zor
