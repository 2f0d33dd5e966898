// Tells what is on the disk from what only this process holds.
#ifndef ZOR_CLI_KEPT_VALUES_H_
#define ZOR_CLI_KEPT_VALUES_H_

#include <functional>

namespace zor::cli {

// Whether `look` answers true in another process, which knows only what is on the disk: the user
// defaults answer with a change that could not be written as long as their process lives, but not
// in the child of a fork. `look` only reads. False also when no process can be made. To be called
// before the first exchange, while the program has one thread.
bool isSeenByOtherProcesses(const std::function<bool()>& look);

}  // namespace zor::cli

#endif  // ZOR_CLI_KEPT_VALUES_H_
