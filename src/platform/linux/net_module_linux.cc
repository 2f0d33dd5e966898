#include "platform/linux/net_module_linux.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/net/net_build.h"
#include "platform/log.h"
#include "support/fork_hooks.h"
#include "support/mutex.h"

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

// Null: `problem` says why.
net::Loader* loaderFrom(const fs::path& path, std::string& problem) {
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
  net::Loader* const loader = module->loader();
  if (loader == nullptr) problem = path.string() + " cannot set up its libraries";
  return loader;
}

net::Loader* openLoader(std::string& problem) {
  problem = "it is not there";
  for (const fs::path& path : candidates()) {
    std::error_code error;
    if (!fs::exists(path, error)) continue;
    if (net::Loader* const loader = loaderFrom(path, problem)) return loader;
  }
  return nullptr;
}

// The module and its loader. Never destroyed.
class OpenModule {
 public:
  OpenModule() {
    registerForkHook({ForkRank::loader, this,
                      [](void* self) { static_cast<OpenModule*>(self)->holdForFork(); },
                      [](void* self) { static_cast<OpenModule*>(self)->releaseInParent(); },
                      [](void* self) { static_cast<OpenModule*>(self)->startAfreshInChild(); }});
  }

  net::Loader* loader() ZOR_EXCLUDES(_mutex) {
    std::string problem;
    {
      const MutexLock lock(_mutex);
      if (_loader == nullptr) _loader = openLoader(problem);
      if (_loader != nullptr) return _loader;
    }
    logLine("zorfingerprint: the network module cannot be opened: " + problem);
    return nullptr;
  }

 private:
  void holdForFork() ZOR_NO_THREAD_SAFETY_ANALYSIS {
    _mutex.lock();
    if (_loader != nullptr) _loader->holdForFork();
  }
  void releaseInParent() ZOR_NO_THREAD_SAFETY_ANALYSIS {
    if (_loader != nullptr) _loader->releaseInParent();
    _mutex.unlock();
  }
  void startAfreshInChild() ZOR_NO_THREAD_SAFETY_ANALYSIS {
    if (_loader != nullptr) _loader->startAfreshInChild();
    _mutex.unlock();
  }

  // Guards the member below. Held while the module is opened, so that it is opened once.
  Mutex _mutex;
  net::Loader* _loader ZOR_GUARDED_BY(_mutex) = nullptr;
};

}  // namespace

net::Loader* netLoader() {
  static auto& module = *new OpenModule;
  return module.loader();
}

}  // namespace zor
