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
#include "support/status.h"

namespace zor {

// Values live in one file, whole at any moment, and are read from memory as long as the file is the
// one that was read. Values of unknown kinds read as nothing and stay in the file.
//
// A damaged file reads as empty; the next change keeps it beside the new one as "<path>.damaged".
// A change that cannot be kept is logged once for each cause, holds in this process (not in the
// child of a fork) and is tried again with the next change. One made while the file could not be
// read gives way to what the file holds: whoever made it did not know. One that would make the file
// too large is dropped.
//
// While the file cannot be read, the values read last are given; without any, the status.
class LinuxDefaults final : public DefaultsPort {
 public:
  using Locator = std::function<std::optional<std::string>()>;

  // `locate` is asked for the file's path at the first use; nullopt: nothing can be kept.
  explicit LinuxDefaults(Locator locate) : _locate(std::move(locate)) {}

  Reading<Values> read(const std::vector<std::string>& keys) override;
  Status change(const std::vector<Change>& changes) override;
  Status removeIfStill(const std::vector<std::string>& keys, const Values& seen) override;

  // For an object that is never destroyed: makes it usable in the child of a fork.
  void surviveForks();

 private:
  // Keys with the values that they must have in the file for a change to be made; absent: none.
  using Condition = std::vector<std::pair<std::string, std::optional<ZORValue>>>;

  // A value that this process has and the file has not.
  struct Waiting {
    std::optional<ZORValue> value;  // Absent: removed.
    std::optional<ZORValue> filed;  // `value` for the file; absent for one it cannot hold.
    std::shared_ptr<const Condition> onlyIf;  // Null: unconditional.
    std::uint64_t number = 0;                 // Counts the changes.
    bool madeUnseen = false;  // While the file could not be read: what is there wins.
  };
  using WaitingChanges = std::map<std::string, Waiting>;

  // Which file was read. Writers give each version a modification time of its own.
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

  Status apply(WaitingChanges changes) ZOR_EXCLUDES(_mutex);
  // Puts the changes that wait into the file.
  Status commit() ZOR_EXCLUDES(_mutex);
  static Status rewrite(const std::string& path, const WaitingChanges& changes);
  void logOnce(const Status& status) ZOR_EXCLUDES(_mutex);

  // Brings the values in memory up to date; a failure says why the file cannot be read now.
  Status refresh() ZOR_EXCLUDES(_mutex);
  const std::optional<std::string>& path() ZOR_EXCLUDES(_mutex);
  std::optional<ZORValue> valueInMemory(const std::string& key) ZOR_REQUIRES(_mutex);
  bool holdsAlready(const std::string& key, const Waiting& change) ZOR_REQUIRES(_mutex);
  WaitingChanges storableChanges() ZOR_EXCLUDES(_mutex);
  void forget(const WaitingChanges& kept) ZOR_EXCLUDES(_mutex);
  void dropChangesOfParent() ZOR_REQUIRES(_mutex);

  const Locator _locate;

  // Guards what follows. Held for looks at memory only: never while a file is read or written, a
  // lock between processes is waited for or a line is logged. Nothing is taken under it.
  Mutex _mutex;
  bool _located ZOR_GUARDED_BY(_mutex) = false;
  std::optional<std::string> _path ZOR_GUARDED_BY(_mutex);  // Fixed once it is located.
  bool _known ZOR_GUARDED_BY(_mutex) = false;  // Whether the file has ever been looked at.
  std::optional<Version> _version ZOR_GUARDED_BY(_mutex);  // Absent: there was no file.
  ZORValue _stored ZOR_GUARDED_BY(_mutex) = ZORValue::dictionary();
  WaitingChanges _waiting ZOR_GUARDED_BY(_mutex);
  std::uint64_t _changeCount ZOR_GUARDED_BY(_mutex) = 0;
  std::set<std::string> _loggedReasons ZOR_GUARDED_BY(_mutex);
  bool _forked ZOR_GUARDED_BY(_mutex) = false;
};

}  // namespace zor

#endif  // ZOR_PLATFORM_LINUX_DEFAULTS_LINUX_H_
