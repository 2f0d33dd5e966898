#include <gtest/gtest.h>

#include <future>

#include "platform/linux/url_loading_linux.h"
#include "support/operation_queue.h"

namespace zor {
namespace {

struct Result {
  std::optional<Data> body;
  std::optional<URLResponse> response;
  std::optional<ZORError> error;
};

// Answers each challenge in the same way.
class FixedDelegate final : public URLSessionDelegate {
 public:
  void didReceiveChallenge(const AuthenticationChallenge& /*challenge*/,
                           const ChallengeCompletion& completionHandler) override {
    completionHandler(ChallengeDisposition::rejectProtectionSpace, false);
  }
};

Result load(const URLRequest& request) {
  OperationQueue queue("url-loading-test", 2);
  const auto delegate = std::make_shared<FixedDelegate>();
  const auto session = makeLinuxURLLoading({})->createSession(delegate, queue);
  std::promise<Result> result;
  session->startDataTask(request,
                         [&result](const auto& body, const auto& response, const auto& error) {
                           result.set_value({body, response, error});
                         });
  return result.get_future().get();
}

URLRequest requestFor(const std::string& url) {
  URLRequest request;
  request.url = url;
  return request;
}

void expectRefused(const char* what, const URLRequest& request, URLErrorCode code) {
  const Result result = load(request);
  ASSERT_TRUE(result.error) << what;
  EXPECT_EQ(result.error->code, static_cast<int>(code)) << what;
  EXPECT_FALSE(result.body || result.response) << what;
}

TEST(URLLoading, RequestsThatMustNotBeSentEndWithTheirError) {
  const std::string withNul("https://127.0.0.1:9\0.org/", 25);
  expectRefused("a plain URL", requestFor("http://127.0.0.1:9/"), URLErrorCode::unsupportedURL);
  expectRefused("a file", requestFor("file:///etc/hostname"), URLErrorCode::unsupportedURL);
  expectRefused("a blank", requestFor("https://127.0.0.1:9/a b"), URLErrorCode::badURL);
  expectRefused("a NUL", requestFor(withNul), URLErrorCode::badURL);
  expectRefused("a user", requestFor("https://user@127.0.0.1:9/"), URLErrorCode::badURL);
  URLRequest request = requestFor("https://127.0.0.1:9/");
  request.headers = {{"A", "b\r\nHost: c"}};
  expectRefused("two lines in a header", request, URLErrorCode::badURL);
  request = requestFor("https://127.0.0.1:9/");
  request.method = "GET / HTTP/1.1\r\nA: b\r\n";
  expectRefused("two lines in the method", request, URLErrorCode::badURL);
}

}  // namespace
}  // namespace zor
