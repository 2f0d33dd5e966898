// A program's one request through a session of the library.
// usage: zor_bench_request_session URL CONNECT_TO...      the root is what SSL_CERT_FILE names
#include <cstdlib>
#include <future>
#include <string>
#include <vector>

#include "platform/ports.h"
#include "session/ZORHttpsURLSession.h"
#include "support/url.h"

namespace zor {
namespace {

bool succeeds(const URLRequest& request) {
  const auto session = ZORHttpsURLSession::create();
  session->setAcceptHost(hostOfUrl(request.url).value_or(""));
  std::promise<bool> outcome;
  session->performRequestRetryCount(
      request, 1, [&outcome](const auto& body, const auto& response, const auto& error) {
        outcome.set_value(zor_isRequestSuccess(body, response, error) && body && !body->empty());
      });
  return outcome.get_future().get();
}

}  // namespace
}  // namespace zor

int main(int argumentCount, char** arguments) {
  if (argumentCount < 2) return EXIT_FAILURE;
  const auto loading = zor::makeURLLoading({{arguments + 2, arguments + argumentCount}});
  const zor::ScopedPorts scope(zor::systemPorts().with(*loading));
  zor::URLRequest request;
  request.url = arguments[1];
  return zor::succeeds(request) ? EXIT_SUCCESS : EXIT_FAILURE;
}
