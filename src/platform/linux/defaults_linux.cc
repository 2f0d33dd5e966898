#include "platform/linux/defaults_linux.h"

#include <time.h>

#include <cerrno>
#include <tuple>

#include "literals/literals.h"
#include "platform/linux/bundle_linux.h"
#include "platform/linux/filed_values.h"
#include "platform/linux/library_folders.h"
#include "platform/linux/linux_ports.h"
#include "platform/log.h"
#include "platform/posix/file_io.h"
#include "platform/probe_trace.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor {
namespace {

constexpr const char* kFailure = "cannot write the user defaults";

Status notText() { return Status::unusable(kFailure, "a value cannot be written as JSON"); }

// The content of a defaults file, and what it means for a change.
struct Content {
  ZORValue values = ZORValue::dictionary();
  Status status;         // Not success: it cannot be read now and must not be replaced.
  bool damaged = false;  // The file holds no values; a change moves it aside.
};

bool isFolderOrDevice(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) &&
         !S_ISLNK(status.st_mode);
}

Content readContent(const std::string& path) {
  Content content;
  const auto bytes = readWholeFile(path, kMaxFileBytes);
  if (bytes.isUnreadable()) content.status = bytes.status();
  // A link, or a file that is too large; a folder or a device is not moved aside.
  content.damaged = bytes.status().isUnusable() && !isFolderOrDevice(path);
  if (!bytes) return content;
  auto values = valueFromJson(textOf(*bytes));
  const bool holdsValues = values && values->isDictionary();
  content.damaged = !bytes->empty() && !holdsValues;
  if (holdsValues) content.values = std::move(*values);
  return content;
}

// The current time, but always later than the file's earlier versions, so that no two versions look
// alike even if the clock was set back or is coarse.
timespec laterThan(const timespec& earlier) {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  if (now.tv_sec > earlier.tv_sec) return now;
  if (now.tv_sec == earlier.tv_sec && now.tv_nsec > earlier.tv_nsec) return now;
  const bool carries = earlier.tv_nsec >= 999999999;
  return {earlier.tv_sec + (carries ? 1 : 0), carries ? 0 : earlier.tv_nsec + 1};
}

std::string parentFolder(const std::string& path) { return path.substr(0, path.rfind('/')); }

std::string executableName() {
  const std::string path = executablePath();
  return path.empty() ? program_invocation_short_name : path.substr(path.rfind('/') + 1);
}

std::optional<std::string> standardPath() {
  const auto folder = folderOfLibrary(literals::kConfigHomeVariable.c_str(), ".config");
  if (!folder) return std::nullopt;
  std::ignore = fixedApplicationName();  // Its name is part of the path.
  const auto identifier = linuxBundlePort().bundleIdentifier();
  return *folder + "/" + safeFileName(identifier ? *identifier : executableName()) + ".json";
}

}  // namespace

Reading<LinuxDefaults::Version> LinuxDefaults::versionAt(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) == 0) {
    return Version{status.st_dev, status.st_ino, status.st_size, status.st_mtim};
  }
  if (errno == ENOENT || errno == ENOTDIR) return {};
  return systemFailure("read", path);
}

bool LinuxDefaults::holds(const ZORValue& values, const Condition& condition) {
  for (const auto& [key, wanted] : condition) {
    const ZORValue* found = values.find(key);
    const auto value = found != nullptr ? valueFromFiled(*found) : std::nullopt;
    if (value != wanted) return false;
  }
  return true;
}

Reading<DefaultsPort::Values> LinuxDefaults::read(const std::vector<std::string>& keys) {
  noteProbeSource("user defaults");
  State& state = _state.get();
  const Status status = refresh(state);
  const MutexLock lock(state.mutex);
  Values values;
  values.reserve(keys.size());
  for (const std::string& key : keys) {
    if (!state.known && state.waiting.count(key) == 0 && !status.isSuccess()) return status;
    values.push_back(valueInMemory(state, key));
  }
  return values;
}

std::optional<ZORValue> LinuxDefaults::valueInMemory(State& state, const std::string& key) {
  if (!state.waiting.empty()) {
    const auto waiting = state.waiting.find(key);
    if (waiting != state.waiting.end()) return waiting->second.value;
  }
  const ZORValue* found = state.stored.find(key);
  return found != nullptr ? valueFromFiled(*found) : std::nullopt;
}

LinuxDefaults::Waiting LinuxDefaults::waitingFor(const Change& change) {
  Waiting waiting;
  waiting.value = change.value;
  if (change.value) waiting.filed = filedValue(*change.value);
  return waiting;
}

Status LinuxDefaults::change(const std::vector<Change>& changes) {
  WaitingChanges waiting;
  for (const Change& each : changes) waiting.insert_or_assign(each.key, waitingFor(each));
  return apply(std::move(waiting));
}

Status LinuxDefaults::removeIfStill(const std::vector<std::string>& keys, const Values& seen) {
  Condition condition;
  for (std::size_t index = 0; index < keys.size() && index < seen.size(); ++index) {
    condition.emplace_back(keys[index], seen[index]);
  }
  const auto onlyIf = std::make_shared<const Condition>(std::move(condition));
  WaitingChanges waiting;
  for (const std::string& key : keys) waiting[key].onlyIf = onlyIf;
  return apply(std::move(waiting));
}

Status LinuxDefaults::apply(WaitingChanges&& changes) {
  State& state = _state.get();
  const Status seen = refresh(state);
  bool storable = true;
  bool anyNew = false;
  {
    const MutexLock lock(state.mutex);
    for (auto& [key, change] : changes) {
      if (seen.isSuccess() && holdsAlready(state, key, change)) continue;
      anyNew = true;
      // A value that cannot be stored must not keep the others from being written.
      storable = storable && isValidUtf8(key) && (!change.value || change.filed);
      change.madeUnseen = !seen.isSuccess();
      change.number = ++state.changeCount;
      state.waiting.insert_or_assign(key, std::move(change));
    }
  }
  if (!anyNew) return {};
  const Status status = commit(state);
  if (!status.isSuccess()) logOnce(state, status);
  if (!storable) logOnce(state, notText());
  return status.isSuccess() && !storable ? notText() : status;
}

bool LinuxDefaults::holdsAlready(State& state, const std::string& key, const Waiting& change) {
  if (state.waiting.count(key) != 0) return false;
  const ZORValue* found = state.stored.find(key);
  if (!change.value) return found == nullptr;
  return change.filed && found != nullptr && *found == *change.filed;
}

Status LinuxDefaults::commit(State& state) {
  const auto& file = path(state);
  if (!file) return Status::unusable(kFailure, "the user has no folder for them");
  Status status = makeFolders(parentFolder(*file));
  if (!status.isSuccess()) return status;
  // The file is written even without the lock: it is complete, and the later write wins.
  const LockAttempt attempt = FileSystemLock::acquire(lockPathBeside(*file));
  const WaitingChanges changes = storableChanges(state);
  if (changes.empty()) return {};  // Another thread has written our changes with its own.
  status = rewrite(*file, changes);
  // A change that is too large for the file would block every later one.
  if (status.isSuccess() || status.isUnusable()) forget(state, changes);
  return status;
}

Status LinuxDefaults::rewrite(const std::string& path, const WaitingChanges& changes) {
  Content content = readContent(path);
  if (!content.status.isSuccess()) return content.status;
  ZORValue values = content.values;
  for (const auto& [key, change] : changes) {
    if (change.madeUnseen && content.values.find(key) != nullptr) continue;
    if (change.onlyIf && !holds(content.values, *change.onlyIf)) continue;
    if (change.filed) {
      values.set(key, *change.filed);
    } else {
      values.erase(key);
    }
  }
  const auto text = jsonFromValue(values);
  if (!text) return notText();
  if (text->size() > kMaxFileBytes) return Status::unusable(kFailure, "they are too large");
  const auto version = versionAt(path);
  // If that fails, the damaged file is replaced.
  if (content.damaged) {
    std::ignore =
        retryOnSignal([&] { return ::rename(path.c_str(), (path + ".damaged").c_str()); });
  }
  return replaceFile(path, *text, laterThan(version ? version->modifiedAt : timespec{}));
}

LinuxDefaults::WaitingChanges LinuxDefaults::storableChanges(State& state) {
  const MutexLock lock(state.mutex);
  WaitingChanges changes;
  for (const auto& [key, change] : state.waiting) {
    if (isValidUtf8(key) && (!change.value || change.filed)) changes.emplace(key, change);
  }
  return changes;
}

void LinuxDefaults::forget(State& state, const WaitingChanges& kept) {
  const MutexLock lock(state.mutex);
  for (const auto& [key, change] : kept) {
    const auto waiting = state.waiting.find(key);
    // A value that was changed again meanwhile still has to be written.
    if (waiting != state.waiting.end() && waiting->second.number == change.number) {
      state.waiting.erase(waiting);
    }
  }
}

Status LinuxDefaults::refresh(State& state) {
  const auto& file = path(state);
  if (!file) return {};
  const auto version = versionAt(*file);
  if (version.isUnreadable()) return version.status();
  {
    const MutexLock lock(state.mutex);
    if (state.known && version.content() == state.version) return {};
  }
  // The version is read first: if the file is replaced in between, the next call reads it again.
  Content content = readContent(*file);
  if (!content.status.isSuccess()) return content.status;
  const MutexLock lock(state.mutex);
  state.stored = std::move(content.values);
  state.version = version.content();
  state.known = true;
  return {};
}

const std::optional<std::string>& LinuxDefaults::path(State& state) {
  const MutexLock lock(state.mutex);
  if (!state.located) state.path = _locate();
  state.located = true;
  return state.path;
}

void LinuxDefaults::logOnce(State& state, const Status& status) {
  {
    const MutexLock lock(state.mutex);
    if (!state.loggedReasons.insert(status.reason()).second) return;
  }
  logLine("zorfingerprint: user defaults are not kept: " + status.sentence());
}

DefaultsPort& linuxDefaultsPort() {
  static constinit MadeOnce<LinuxDefaults> port;
  return port.get([] { return std::make_unique<LinuxDefaults>(standardPath); });
}

}  // namespace zor
