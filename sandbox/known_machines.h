// Which machine an identity belongs to: an example of what a fingerprint service does with it.
#ifndef ZOR_SANDBOX_KNOWN_MACHINES_H_
#define ZOR_SANDBOX_KNOWN_MACHINES_H_

#include <ZORFingerPrint/ZORValue.h>

#include <set>
#include <string>
#include <vector>

#include "support/mutex.h"

namespace zor::sandbox {

// The machines that were seen, for as long as this object lives. Callable from any thread.
class KnownMachines {
 public:
  // The fingerprint of the machine that `identity` (the seven entries) describes. A known machine
  // keeps its fingerprint if at least half of its strong parts are still there: the hardware
  // addresses, the hardware UUID, the serial number. If both have hardware addresses, at least one
  // must be the same, which distinguishes clones of a virtual machine. Any other identity belongs
  // to a new machine, whose fingerprint is derived from it.
  std::string fingerprintOf(const ZORValue& identity) ZOR_EXCLUDES(_mutex);

  // The same for the same description.
  static std::string newFingerprint(const ZORValue& description);

 private:
  struct Machine {
    std::set<std::string> addresses;  // Network and Bluetooth.
    std::set<std::string> others;     // Each with its role.
    std::string fingerprint = {};
  };

  static Machine describedBy(const ZORValue& identity);
  static bool isSameMachine(const Machine& known, const Machine& seen);

  Mutex _mutex;
  std::vector<Machine> _machines ZOR_GUARDED_BY(_mutex);  // The latest seen last.
};

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_KNOWN_MACHINES_H_
