// A client of the sandbox service independent of the library: libcurl with its own trust checks.
#ifndef ZOR_TESTS_SANDBOX_CURL_CLIENT_H_
#define ZOR_TESTS_SANDBOX_CURL_CLIENT_H_

#include <curl/curl.h>

#include <cctype>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sandbox/sandbox_service.h"

namespace zor::testing {

struct CurlAnswer {
  CURLcode code = CURLE_OK;
  long status = 0;
  std::map<std::string, std::string> headers;  // Names in lower case.
  std::string body;
};

class CurlClient {
 public:
  explicit CurlClient(const sandbox::SandboxService& service) : _caFile(service.caFile().string()) {
    for (const std::string& entry : service.connectTo()) {
      _connectTo.reset(curl_slist_append(_connectTo.release(), entry.c_str()));
    }
  }

  // For an address the certificate is not checked against the URL's host.
  CurlAnswer get(const std::string& url, bool checkName = true) {
    return perform(url, nullptr, checkName);
  }
  CurlAnswer post(const std::string& url, const std::string& body, bool checkName = true) {
    return perform(url, &body, checkName);
  }

  // Any request, over plain HTTP too; a header that curl would add is replaced.
  CurlAnswer ask(const std::string& url, const std::string& method = "GET",
                 const std::string& body = "", const std::vector<std::string>& headers = {}) {
    return perform(url, body.empty() ? nullptr : &body, true, method, headers);
  }

  // Hands each part of a body to `take` until that returns false.
  void listen(const std::string& url, const std::vector<std::string>& headers,
              const std::function<bool(const std::string&)>& take) {
    _take = &take;
    perform(url, nullptr, true, "GET", headers);
    _take = nullptr;
  }

  long timeoutMs = 20000;

 private:
  static std::size_t addToText(char* bytes, std::size_t, std::size_t size, void* text) {
    static_cast<std::string*>(text)->append(bytes, size);
    return size;
  }

  static std::size_t addToHeaders(char* bytes, std::size_t, std::size_t size, void* headers) {
    const std::string line(bytes, size);
    const std::size_t colon = line.find(": ");
    if (colon == std::string::npos) return size;
    std::string name = line.substr(0, colon);
    for (char& letter : name) letter = static_cast<char>(std::tolower(letter));
    (*static_cast<std::map<std::string, std::string>*>(headers))[name] =
        line.substr(colon + 2, line.find_last_not_of("\r\n") - colon - 1);
    return size;
  }

  static std::size_t handOver(char* bytes, std::size_t, std::size_t size, void* take) {
    const std::string part(bytes, size);
    return (*static_cast<const std::function<bool(const std::string&)>*>(take))(part) ? size : 0;
  }

  CurlAnswer perform(const std::string& url, const std::string* body, bool checkName,
                     const std::string& method = "", const std::vector<std::string>& headers = {}) {
    CurlAnswer answer;
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(curl_easy_init(),
                                                                     &curl_easy_cleanup);
    curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle.get(), CURLOPT_CAINFO, _caFile.c_str());
    curl_easy_setopt(handle.get(), CURLOPT_CONNECT_TO, _connectTo.get());
    curl_easy_setopt(handle.get(), CURLOPT_SSL_VERIFYHOST, checkName ? 2L : 0L);
    curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT_MS, timeoutMs);
    curl_easy_setopt(handle.get(), CURLOPT_PROXY, "");
    List lines{nullptr, &curl_slist_free_all};
    for (const std::string& line : headers) {
      lines.reset(curl_slist_append(lines.release(), line.c_str()));
    }
    curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, lines.get());
    if (!method.empty()) curl_easy_setopt(handle.get(), CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(handle.get(), CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION,
                     _take != nullptr ? &handOver : &addToText);
    curl_easy_setopt(
        handle.get(), CURLOPT_WRITEDATA,
        _take != nullptr ? const_cast<void*>(static_cast<const void*>(_take)) : &answer.body);
    curl_easy_setopt(handle.get(), CURLOPT_HEADERFUNCTION, &addToHeaders);
    curl_easy_setopt(handle.get(), CURLOPT_HEADERDATA, &answer.headers);
    if (body != nullptr) {
      curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, body->c_str());
      curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body->size()));
    }
    answer.code = curl_easy_perform(handle.get());
    curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &answer.status);
    return answer;
  }

  using List = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

  std::string _caFile;
  List _connectTo{nullptr, &curl_slist_free_all};
  const std::function<bool(const std::string&)>* _take = nullptr;
};

}  // namespace zor::testing

#endif  // ZOR_TESTS_SANDBOX_CURL_CLIENT_H_
