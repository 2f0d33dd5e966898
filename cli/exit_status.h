// Exit statuses of zorfp.
#ifndef ZOR_CLI_EXIT_STATUS_H_
#define ZOR_CLI_EXIT_STATUS_H_

namespace zor::cli {

enum ExitStatus : int {
  kDone = 0,
  kFailed = 1,  // On this machine: no report could be made, or a file could not be read or written.
  kWrongUsage = 2,
  kRefused = 3,    // The service refused.
  kTransport = 4,  // No usable answer reached this machine.
  kNoAnswerInTime = 5,
};

}  // namespace zor::cli

#endif  // ZOR_CLI_EXIT_STATUS_H_
