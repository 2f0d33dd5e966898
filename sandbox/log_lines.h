// What came in, for people and for programs.
#ifndef ZOR_SANDBOX_LOG_LINES_H_
#define ZOR_SANDBOX_LOG_LINES_H_

#include <string>

#include "sandbox/sandbox_types.h"

namespace zor::sandbox {

// Several lines: when, by which route, what was sent, the verdict and the answer.
std::string linesForPeople(const Received& request);

// One line; empty for an ordinary handshake.
std::string linesForPeople(const Handshake& handshake);

// One line of JSON with "kind" and everything that is known.
std::string lineForPrograms(const Received& request);
std::string lineForPrograms(const Handshake& handshake);

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_LOG_LINES_H_
