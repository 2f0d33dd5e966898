// URL loading by the network module. All loaders share one module, one thread and the kept
// connections; the module is opened at the first request. Where it cannot be opened each request
// ends with URLErrorCode::resourceUnavailable and a log line.
#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "literals/literals.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/net/library_gate.h"
#include "platform/linux/net/net_module.h"
#include "platform/log.h"
#include "platform/operation_queue.h"
#include "support/process_generation.h"

namespace zor {
namespace {

// The process's loader. The module is looked for beside the object that contains this code (the
// library or a program), in `../lib` from there, and in the folder where the library is installed.
// It is never closed. Null: it cannot be opened; a log line says why, and the next call tries
// again. Callable from any thread with no lock held, also in the child of a fork.
net::Loader* netLoader();

namespace fs = std::filesystem;

constexpr const char* kModulePath = "zorfingerprint/zor_net.so";
constexpr const char* kModuleFunction = "zor_net_module";

// The file that the code at `address` was mapped from, according to the kernel. For a program, the
// dynamic linker would report argv[0], which its caller chooses and which may be relative.
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
  paths.push_back(fs::path(ZOR_INSTALLED_LIBRARY_FOLDER) / kModulePath);
  return paths;
}

// Null: `problem` says why. Called from inside the gate.
const net::Module* moduleFrom(const fs::path& path, std::string& problem) {
  // Bound lazily, as in a program that links those libraries; the module itself is bound at once.
  void* const handle = ::dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
  if (handle == nullptr) {
    const char* const text = ::dlerror();
    problem = text != nullptr ? text : path.string();
    return nullptr;
  }
  const auto function = reinterpret_cast<net::ModuleFunction>(::dlsym(handle, kModuleFunction));
  const net::Module* const module = function != nullptr ? function() : nullptr;
  if (module == nullptr || std::string(module->interfaceDigest) != ZOR_NET_INTERFACE) {
    problem = path.string() + " belongs to another build of the library";
    return nullptr;
  }
  return module;
}

const net::Module* openModule(std::string& problem) {
  problem = "it is not installed";
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

// The gate that the forking thread holds during the fork.
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

// Runs when the library is loaded. Fails only if memory runs out.
__attribute__((constructor)) void holdGateOverForks() {
  std::ignore = ::pthread_atfork(holdGate, releaseGate, nullptr);
}

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

using Options = std::shared_ptr<const URLLoadingOptions>;

std::optional<ZORError> errorOf(const std::optional<net::Failure>& failure) {
  if (!failure) return std::nullopt;
  return ZORError{literals::kURLErrorDomain.str(), static_cast<std::int64_t>(failure->code),
                  failure->description};
}

class SessionExchange final : public net::Exchange {
 public:
  // `queue` outlives it.
  SessionExchange(URLRequest request, Options options, std::weak_ptr<URLSessionDelegate> delegate,
                  OperationQueue& queue, TransportCompletion completion)
      : _request(std::move(request)),
        _options(std::move(options)),
        _delegate(std::move(delegate)),
        _queue(queue),
        _completion(std::move(completion)) {}

  const URLRequest& request() const override { return _request; }
  const std::vector<std::string>& connectTo() const override { return _options->connectTo; }
  std::shared_ptr<URLSessionDelegate> delegate() const override { return _delegate.lock(); }

  void finish(net::ExchangeResult outcome) noexcept override {
    _queue.addOperation([completion = std::move(_completion), outcome = std::move(outcome)] {
      if (completion) completion(outcome.body, outcome.response, errorOf(outcome.failure));
    });
  }

 private:
  const URLRequest _request;
  const Options _options;
  const std::weak_ptr<URLSessionDelegate> _delegate;
  OperationQueue& _queue;
  TransportCompletion _completion;  // Moved from at the end.
};

class LinuxURLSession final : public URLSession {
 public:
  // `queue` outlives it.
  LinuxURLSession(Options options, std::weak_ptr<URLSessionDelegate> delegate,
                  OperationQueue& queue)
      : _options(std::move(options)), _delegate(std::move(delegate)), _queue(queue) {}

  void startDataTask(const URLRequest& request, TransportCompletion completion) override {
    auto exchange = std::make_unique<SessionExchange>(request, _options, _delegate, _queue,
                                                      std::move(completion));
    if (net::Loader* const loader = netLoader()) {
      loader->start(std::move(exchange));
      _queue.prepare();  // While the exchange is under way.
    } else {
      exchange->finish({{},
                        {},
                        net::Failure{URLErrorCode::resourceUnavailable,
                                     "The network module cannot be opened."}});
    }
  }

 private:
  const Options _options;
  const std::weak_ptr<URLSessionDelegate> _delegate;
  OperationQueue& _queue;
};

class LinuxURLLoading final : public URLLoadingPort {
 public:
  explicit LinuxURLLoading(URLLoadingOptions options = {})
      : _options(std::make_shared<const URLLoadingOptions>(std::move(options))) {}

  std::unique_ptr<URLSession> createSession(std::weak_ptr<URLSessionDelegate> delegate,
                                            OperationQueue& queue) override {
    return std::make_unique<LinuxURLSession>(_options, std::move(delegate), queue);
  }

 private:
  const Options _options;
};

}  // namespace

std::unique_ptr<URLLoadingPort> makeURLLoading(URLLoadingOptions options) {
  return std::make_unique<LinuxURLLoading>(std::move(options));
}

URLLoadingPort& linuxURLLoadingPort() {
  static constinit MadeOnce<LinuxURLLoading> port;
  return port.get();
}

}  // namespace zor
