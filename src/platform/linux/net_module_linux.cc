#include "platform/linux/net_module_linux.h"

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "platform/linux/net/library_gate.h"
#include "platform/linux/net/net_build.h"
#include "platform/log.h"
#include "support/process_generation.h"

namespace zor {
namespace {

namespace fs = std::filesystem;

constexpr const char* kModulePath = "zorfingerprint/zor_net.so";
constexpr const char* kModuleFunction = "zor_net_module";

// The file that the code at `address` was mapped from, as the kernel knows it. The dynamic linker's
// answer would be the caller's choice for a program (its argv[0]) and may be relative.
std::optional<fs::path> fileOfCode(const void* address) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t first = 0;
    std::uintptr_t end = 0;
    if (std::sscanf(line.c_str(), "%lx-%lx", &first, &end) != 2) continue;
    const auto wanted = reinterpret_cast<std::uintptr_t>(address);
    const auto path = line.find('/');
    if (first <= wanted && wanted < end && path != std::string::npos) return line.substr(path);
  }
  return std::nullopt;
}

std::vector<fs::path> candidates() {
  std::vector<fs::path> paths;
  if (const auto file = fileOfCode(reinterpret_cast<const void*>(&netLoader))) {
    const fs::path folder = file->parent_path();
    paths.push_back(folder / kModulePath);
    paths.push_back(folder.parent_path() / "lib" / kModulePath);
  }
  paths.push_back(fs::path(net::kInstalledLibraryFolder) / kModulePath);
  return paths;
}

// Null: `problem` says why. From inside the gate.
const net::Module* moduleFrom(const fs::path& path, std::string& problem) {
  // Lazily, as a program that links those libraries has them; the module itself is bound at once.
  void* const handle = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
  if (handle == nullptr) {
    const char* const text = ::dlerror();
    problem = text != nullptr ? text : path.string();
    return nullptr;
  }
  const auto function = reinterpret_cast<net::ModuleFunction>(::dlsym(handle, kModuleFunction));
  const net::Module* const module = function != nullptr ? function() : nullptr;
  if (module == nullptr || std::string(module->interfaceDigest) != net::kInterfaceDigest) {
    problem = path.string() + " is of another build";
    return nullptr;
  }
  return module;
}

const net::Module* openModule(std::string& problem) {
  problem = "it is not there";
  for (const fs::path& path : candidates()) {
    std::error_code error;
    if (!fs::exists(path, error)) continue;
    if (const auto* const module = moduleFrom(path, problem)) return module;
  }
  return nullptr;
}

// Null: `problem` says why.
net::Loader* makeLoader(net::LibraryGate& gate, std::string& problem) {
  const net::InsideLibraries inside(gate);
  if (!inside) {
    problem = "the process exits, or was forked while its parent was using the module";
    return nullptr;
  }
  const net::Module* const module = openModule(problem);
  if (module == nullptr) return nullptr;
  net::Loader* const loader = module->makeLoader(gate);
  if (loader == nullptr) problem = "its libraries cannot be set up";
  return loader;
}

struct ProcessLoader {
  // Guards the member below. Held while the module is opened, so that one loader is made.
  Mutex mutex{LockRank::networkModule};
  net::Loader* loader ZOR_GUARDED_BY(mutex) = nullptr;
};

constinit PerProcess<net::LibraryGate> gates;
constinit PerProcess<ProcessLoader> loaders;

// Of the thread that forks, during the fork.
constinit thread_local net::LibraryGate* heldForFork = nullptr;

void holdGate() {
  heldForFork = gates.find();
  if (heldForFork == nullptr) return;
  heldForFork->hold();
  heldForFork->waitUntilOutside(net::kMaxWaitAtGate);
}

void releaseGate() {
  if (heldForFork != nullptr) heldForFork->release();
}

// When the library is loaded. Fails only if memory runs out.
__attribute__((constructor)) void holdGateOverForks() {
  std::ignore = ::pthread_atfork(holdGate, releaseGate, nullptr);
}

}  // namespace

net::Loader* netLoader() {
  std::string problem;
  {
    ProcessLoader& own = loaders.get();
    const MutexLock lock(own.mutex);
    if (own.loader == nullptr) own.loader = makeLoader(gates.get(), problem);
    if (own.loader != nullptr) return own.loader;
  }
  logLine("zorfingerprint: the network module cannot be opened: " + problem);
  return nullptr;
}

}  // namespace zor
