#include "platform/linux/net/net_module.h"

#include <openssl/crypto.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "platform/linux/net/curl_loader.h"
#include "platform/linux/net/net_build.h"

namespace zor::net {
namespace {

std::atomic<CurlLoader*> processLoader{nullptr};

// curl appends the secrets of its connections to the file that this variable names, and reads the
// variable in programs with raised privileges too: whoever starts one would choose a file to be
// written with the rights of another. It does so once, when it is set up.
bool callerWantsSecretsWritten() {
  return ::getauxval(AT_SECURE) != 0 && std::getenv("SSLKEYLOGFILE") != nullptr;
}

bool isOfThisProcess(const CurlLoader* loader) {
  return loader != nullptr && loader->process() == ::getpid();
}

// At the exit, before the libraries tear themselves down.
void leaveLibraries() {
  // A child that has made no loader exits with its parent's, which has no thread there.
  if (isOfThisProcess(processLoader)) processLoader.load()->leaveLibraries();
}

bool callAtExit() {
  static constinit bool registered = false;  // Children of a fork inherit what is registered.
  if (!registered) registered = std::atexit(leaveLibraries) == 0;
  return registered;
}

Loader* makeLoader(LibraryGate& gate) noexcept {
  if (callerWantsSecretsWritten()) return nullptr;
  // Before all else of OpenSSL, which otherwise registers a handler for the exit of the process
  // that frees what a thread may be setting up. Without effect where the host has initialized
  // OpenSSL; then its handler is there already, and ours, being later, still runs first.
  if (OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr) != 1) return nullptr;
  if (!isOfThisProcess(processLoader)) processLoader = new (std::nothrow) CurlLoader(gate);
  if (processLoader == nullptr || !callAtExit()) return nullptr;
  return CurlLoader::setUpLibraries() ? processLoader.load() : nullptr;
}

}  // namespace
}  // namespace zor::net

extern "C" __attribute__((visibility("default"))) const zor::net::Module* zor_net_module() {
  static constexpr zor::net::Module module{zor::net::kInterfaceDigest, zor::net::makeLoader};
  return &module;
}
