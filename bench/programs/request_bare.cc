// The baseline of a program's one request: libcurl alone, which checks the certificate itself.
// usage: zor_bench_request_bare URL CONNECT_TO...      the root is what SSL_CERT_FILE names
#include <curl/curl.h>

#include <cstdlib>
#include <string>

namespace {

std::size_t append(const char* bytes, std::size_t, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(bytes, count);
  return count;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount < 2 || ::curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return EXIT_FAILURE;
  CURL* const handle = ::curl_easy_init();
  curl_slist* connectTo = nullptr;
  for (int index = 2; index < argumentCount; ++index) {
    connectTo = ::curl_slist_append(connectTo, arguments[index]);
  }
  std::string body;
  ::curl_easy_setopt(handle, CURLOPT_URL, arguments[1]);
  ::curl_easy_setopt(handle, CURLOPT_CONNECT_TO, connectTo);
  ::curl_easy_setopt(handle, CURLOPT_CAINFO, std::getenv("SSL_CERT_FILE"));
  ::curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, append);
  ::curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);
  const CURLcode result = ::curl_easy_perform(handle);
  long status = 0;
  ::curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
  ::curl_easy_cleanup(handle);
  ::curl_slist_free_all(connectTo);
  ::curl_global_cleanup();
  return result == CURLE_OK && status == 200 && !body.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}
