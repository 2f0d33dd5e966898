// The user defaults as one JSON file per application.
#ifndef ZOR_PLATFORM_LINUX_DEFAULTS_LINUX_H_
#define ZOR_PLATFORM_LINUX_DEFAULTS_LINUX_H_

#include <ZORFingerPrint/ZORTypes.h>
#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/defaults_port.h"
#include "support/mutex.h"
#include "support/process_generation.h"
#include "support/status.h"

namespace zor {

// Values live in one file, which is complete at any moment, and are read from memory until the file
// is replaced. Values of unknown kinds read as absent and stay in the file.
//
// A damaged file reads as empty; the next change keeps it beside the new one as "<path>.damaged".
// A change that cannot be kept is logged once for each cause, holds in this process (not in the
// child of a fork) and is tried again with the next change. A change made while the file could not
// be read does not replace a value that the file holds, because that value was not known. A change
// that would make the file too large is dropped.
//
// While the file cannot be read, reading gives the values read last or, if there are none, the
// status.
class LinuxDefaults final : public DefaultsPort {
 public:
  using Locator = std::function<std::optional<std::string>()>;

  // `locate` returns the file's path and is called at the first use; nullopt: nothing can be kept.
  explicit LinuxDefaults(Locator locate) : _locate(std::move(locate)) {}

  Reading<Values> read(const std::vector<std::string>& keys) override;
  Status change(const std::vector<Change>& changes) override;
  Status removeIfStill(const std::vector<std::string>& keys, const Values& seen) override;

 private:
  // Keys with the values that they must have in the file for a change to be made; absent: none.
  using Condition = std::vector<std::pair<std::string, std::optional<ZORValue>>>;

  // A value that this process has changed and the file does not hold yet.
  struct Waiting {
    std::optional<ZORValue> value;            // Absent: removed.
    std::optional<ZORValue> filed;            // `value` as the file has it; absent if it cannot.
    std::shared_ptr<const Condition> onlyIf;  // Null: unconditional.
    std::uint64_t number = 0;                 // Counts the changes.
    bool madeUnseen = false;  // Made while the file could not be read: the file's value wins.
  };
  using WaitingChanges = std::map<std::string, Waiting>;

  // Identifies the version that was read. Writers give each version a different modification time.
  struct Version {
    dev_t device = 0;
    ino_t inode = 0;
    off_t sizeBytes = 0;
    timespec modifiedAt{};
    friend bool operator==(const Version& left, const Version& right) {
      return left.device == right.device && left.inode == right.inode &&
             left.sizeBytes == right.sizeBytes &&
             left.modifiedAt.tv_sec == right.modifiedAt.tv_sec &&
             left.modifiedAt.tv_nsec == right.modifiedAt.tv_nsec;
    }
  };

  static Reading<Version> versionAt(const std::string& path);
  static bool holds(const ZORValue& values, const Condition& condition);
  static Waiting waitingFor(const Change& change);

  // One for each process: a child reads the file again and leaves the parent's changes to the
  // parent.
  struct State {
    // Guards the members below. Held only while memory is accessed: never while a file is read or
    // written, a lock between processes is awaited or a line is logged. No lock is taken under it.
    Mutex mutex{LockRank::userDefaults};
    bool located ZOR_GUARDED_BY(mutex) = false;
    std::optional<std::string> path ZOR_GUARDED_BY(mutex);  // Constant once located.
    bool known ZOR_GUARDED_BY(mutex) = false;  // Whether the file has ever been looked at.
    std::optional<Version> version ZOR_GUARDED_BY(mutex);  // Absent: there was no file.
    ZORValue stored ZOR_GUARDED_BY(mutex) = ZORValue::dictionary();
    WaitingChanges waiting ZOR_GUARDED_BY(mutex);
    std::uint64_t changeCount ZOR_GUARDED_BY(mutex) = 0;
    std::set<std::string> loggedReasons ZOR_GUARDED_BY(mutex);
  };

  Status apply(WaitingChanges&& changes);
  // Writes the waiting changes to the file.
  Status commit(State& state) ZOR_EXCLUDES(state.mutex);
  static Status rewrite(const std::string& path, const WaitingChanges& changes);
  static void logOnce(State& state, const Status& status) ZOR_EXCLUDES(state.mutex);

  // Brings the values in memory up to date; a failure says why the file cannot be read now.
  Status refresh(State& state) ZOR_EXCLUDES(state.mutex);
  const std::optional<std::string>& path(State& state) ZOR_EXCLUDES(state.mutex);
  static std::optional<ZORValue> valueInMemory(State& state, const std::string& key)
      ZOR_REQUIRES(state.mutex);
  static bool holdsAlready(State& state, const std::string& key, const Waiting& change)
      ZOR_REQUIRES(state.mutex);
  static WaitingChanges storableChanges(State& state) ZOR_EXCLUDES(state.mutex);
  static void forget(State& state, const WaitingChanges& kept) ZOR_EXCLUDES(state.mutex);

  const Locator _locate;
  OwnedPerProcess<State> _state;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_DEFAULTS_LINUX_H_
