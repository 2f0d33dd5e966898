// The names under which the library keeps its values, and the store file: one encrypted dictionary
// of slot key and text, which mirrors the fingerprint and the installation identifier.
#ifndef ZOR_STORE_DFP_STORE_H_
#define ZOR_STORE_DFP_STORE_H_

#include <optional>
#include <string>
#include <string_view>

#include "support/mutex.h"
#include "support/status.h"

namespace zor {

// The key of a slot piece, the same in the user defaults and in the store file. Callable from any
// thread.
std::string dfp_slot_key(std::string_view slotPiece);

// The store mutex of this process, `mutex`, made at the first call. It guards every
// read-modify-write of the store file. Only the file is accessed under it; the lock that keeps
// other processes out is taken before it.
Mutex& initPthreadMutex();

// Where the store file lies: in the folder that the host chose, else in the library folder.
// nullopt: the user has neither.
std::optional<std::string> storeFilePath();

// The text kept under `slotKey`. Nothing: no file, a damaged one, no such entry, or a value of
// another kind. Callable from any thread; nothing is thrown.
Reading<std::string> dfp_store_read(const std::string& slotKey) ZOR_EXCLUDES(initPthreadMutex());

// Keeps `value` under `slotKey`, or forgets what is there when `value` is absent; other entries
// stay. A missing file is made, with its folder, in either case. A damaged one counts as empty and
// is replaced; one that cannot be read now stays as it is. Success: the file holds the change. Safe
// against other processes that write at the same time; callable from any thread; nothing is thrown.
Status dfp_store_write(const std::string& slotKey, const std::optional<std::string>& value)
    ZOR_EXCLUDES(initPthreadMutex());

// Forgets the value as dfp_store_write() does, unless it is no longer `seen`.
Status dfp_store_forget(const std::string& slotKey, const std::optional<std::string>& seen)
    ZOR_EXCLUDES(initPthreadMutex());

// Removes the file, with the entries of the user's other applications, which share it. Success: it
// is not there now. Callable from any thread.
Status removeStoreFile() ZOR_EXCLUDES(initPthreadMutex());

}  // namespace zor

#endif  // ZOR_STORE_DFP_STORE_H_
