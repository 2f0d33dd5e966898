// Scripts in the form that the command line uses.
#ifndef ZOR_SANDBOX_FAULT_TEXT_H_
#define ZOR_SANDBOX_FAULT_TEXT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/sandbox_types.h"

namespace zor::sandbox {

struct Fault {
  ScriptMatch match;
  Script script;
  std::optional<std::uint64_t> uses;  // Absent: for all exchanges.
};

// Reads "ROUTE[@ADDRESS][*TIMES]=FAULT", as faultHelp() explains; ROUTE may be "any". On failure
// the result is empty and `problem` says what is not understood.
std::optional<Fault> readFault(const std::string& text, std::string& problem);

struct FaultWords {
  std::string name;
  std::string argument;  // Its name; empty: the fault takes none.
  std::string meaning;
};

// Every fault, in the order of the help.
std::vector<FaultWords> faultWords();

// The routes and faults, for the program's help.
std::string faultHelp();

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_FAULT_TEXT_H_
