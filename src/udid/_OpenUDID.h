// The identifier that all applications of a user share on one machine.
#ifndef ZOR_UDID_OPENUDID_H_
#define ZOR_UDID_OPENUDID_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <string>

#include "platform/pasteboard_port.h"
#include "support/status.h"

namespace zor {

// The number of slots in which applications leave their copies of the identifier.
constexpr unsigned kSharedIdentifierSlots = 100;
// The pasteboard that is the slot of that index.
std::string sharedSlotName(unsigned index);

// The codes of the errors that describe an outcome; the domain is the shared identifier's own.
enum class SharedIdentifierOutcome : std::int64_t {
  consistent = 0,  // Also when the value comes from the process cache.
  optedOut = 1,    // The returned text is the placeholder.
  conflict = 2,    // The local identifier is kept, though most slots hold another.
};

// Keeps the identifier in the user's named pasteboards, one slot for each application, and a copy
// in the application's own defaults. An application that has none adopts the identifier that most
// slots hold.
//
// Not readable now: while a slot or the defaults cannot be read, nothing is kept or claimed, and
// the next call looks again. A slot that another user has closed to this one is merely passed over.
//
// Threads: every member is callable from any; those that find the cache empty take turns. Processes
// share the slots without a lock, except that those which have something to claim take turns too.
//
// The name is given, and reserved by the language; nothing else in the program may use it.
// NOLINTNEXTLINE(bugprone-reserved-identifier): a name of the interface, see above.
class _OpenUDID {
 public:
  _OpenUDID() = delete;

  // The identifier, or the placeholder when this application has opted out. Never empty.
  static std::string _dfp_value();

  // Selector: _dfp_valueWithError:
  // As _dfp_value(). `error` may be null; else it receives the outcome, on success as well.
  static std::string _dfp_valueWithError(ZORError* error);

  // Selector: _dfp_setOptOut:
  // Opts this application out, or in again; other applications are not touched. The next value is
  // found afresh.
  static void _dfp_setOptOut(bool optOut);

  // The result of the last call that had something to keep. Success: it is on the disk.
  static Status statusOfKeeping();

  // Forgets the value that this process has found: the next one is found afresh.
  static void forgetProcessValue();

  // A new identifier.
  static std::string _generateFreshOpenUDID();

  // Selector: _setDict:forPasteboard:
  // Replaces what the slot holds. A null pasteboard, or one that cannot be written, is ignored.
  static void _setDict(const ZORValue& dictionary, Pasteboard* pasteboard);

  // Selector: _getDictFromPasteboard:
  // What the slot holds; empty for a null pasteboard and for content that is not a dictionary, is
  // damaged, or is larger than any application writes.
  static ZORValue _getDictFromPasteboard(Pasteboard* pasteboard);
};

}  // namespace zor

#endif  // ZOR_UDID_OPENUDID_H_
