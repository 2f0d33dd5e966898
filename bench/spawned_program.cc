#include "bench/spawned_program.h"

#include <spawn.h>
#include <sys/wait.h>

namespace zor::bench {
namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

bool runProgram(const std::string& program, std::vector<std::string> arguments,
                std::vector<std::string> environment) {
  const std::string path = ZOR_BENCH_PROGRAMS "/" + program;
  arguments.insert(arguments.begin(), path);
  pid_t child = -1;
  if (::posix_spawn(&child, path.c_str(), nullptr, nullptr, pointersTo(arguments).data(),
                    pointersTo(environment).data()) != 0) {
    return false;
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  return status == 0;
}

}  // namespace zor::bench
