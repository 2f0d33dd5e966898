#include "platform/linux/net/net_module.h"

#include <curl/curl.h>
#include <openssl/ssl.h>
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
  // Here rather than on the loader's thread: both libraries then have their handlers for the exit
  // of the process in place, and ours runs before theirs.
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK || OPENSSL_init_ssl(0, nullptr) != 1) {
    return nullptr;
  }
  processLoader = new CurlLoader;
  if (std::atexit([] { processLoader->leaveLibraries(); }) != 0) return nullptr;
  return processLoader;
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
