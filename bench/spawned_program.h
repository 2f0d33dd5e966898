// Runs the small programs that are measured as a whole.
#ifndef ZOR_BENCH_SPAWNED_PROGRAM_H_
#define ZOR_BENCH_SPAWNED_PROGRAM_H_

#include <string>
#include <vector>

namespace zor::bench {

// Runs the benchmarks' `program` with that environment ("NAME=value") and waits for its end.
// Returns whether it started and ended with status 0.
bool runProgram(const std::string& program, std::vector<std::string> arguments,
                std::vector<std::string> environment);

}  // namespace zor::bench

#endif  // ZOR_BENCH_SPAWNED_PROGRAM_H_
