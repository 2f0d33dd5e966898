// Tells an empty file of failure records from one that cannot be opened.
#ifndef ZOR_CLI_PINGBACK_FILE_H_
#define ZOR_CLI_PINGBACK_FILE_H_

#include <optional>
#include <string>

namespace zor::cli {

// Why the file of failure records can be neither read nor changed, for people; nullopt: it can, or
// nothing is there and it could be made. The store itself reads as empty in every case.
std::optional<std::string> pingbackFileProblem();

}  // namespace zor::cli

#endif  // ZOR_CLI_PINGBACK_FILE_H_
