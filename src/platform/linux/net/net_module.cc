#include "platform/linux/net/net_module.h"

#include <openssl/crypto.h>
#include <sys/auxv.h>

#include <cstdlib>

#include "platform/linux/net/curl_loader.h"
#include "platform/linux/net/net_build.h"

namespace zor::net {
namespace {

CurlLoader* processLoader = nullptr;

// curl appends the secrets of its connections to the file that this variable names, and reads the
// variable in programs with raised privileges too: whoever starts one would choose a file to be
// written with the rights of another. It does so once, when it is set up.
bool callerWantsSecretsWritten() {
  return ::getauxval(AT_SECURE) != 0 && std::getenv("SSLKEYLOGFILE") != nullptr;
}

CurlLoader* makeLoader() {
  if (callerWantsSecretsWritten()) return nullptr;
  // Before all else of OpenSSL, which otherwise registers a handler for the exit of the process
  // that frees what a thread may be setting up. Without effect where the host has initialised
  // OpenSSL; then its handler is there already, and ours, being later, still runs first.
  if (OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr) != 1) return nullptr;
  processLoader = new CurlLoader;
  if (std::atexit([] { processLoader->leaveLibraries(); }) != 0) return nullptr;
  return processLoader->setUpLibraries() ? processLoader : nullptr;
}

Loader* loader() noexcept {
  static CurlLoader* const single = makeLoader();
  return single;
}

}  // namespace
}  // namespace zor::net

extern "C" __attribute__((visibility("default"))) const zor::net::Module* zor_net_module() {
  static constexpr zor::net::Module module{zor::net::kInterfaceDigest, zor::net::loader};
  return &module;
}
