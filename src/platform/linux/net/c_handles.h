// Owners for the C objects that the module uses.
#ifndef ZOR_PLATFORM_LINUX_NET_C_HANDLES_H_
#define ZOR_PLATFORM_LINUX_NET_C_HANDLES_H_

#include <curl/curl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <memory>
#include <string>

#include "support/c_handles.h"

namespace zor::net {

struct FreeCertificates {
  void operator()(STACK_OF(X509) * certificates) const noexcept {
    sk_X509_pop_free(certificates, X509_free);
  }
};

using CurlEasy = std::unique_ptr<CURL, FreeWith<curl_easy_cleanup>>;
using CurlMulti = std::unique_ptr<CURLM, FreeWith<curl_multi_cleanup>>;
using CurlUrl = std::unique_ptr<CURLU, FreeWith<curl_url_cleanup>>;
using CurlText = std::unique_ptr<char, FreeWith<curl_free>>;
using CertificateChain = std::unique_ptr<STACK_OF(X509), FreeCertificates>;
using CertificateStore = std::unique_ptr<X509_STORE, FreeWith<X509_STORE_free>>;
using VerificationContext = std::unique_ptr<X509_STORE_CTX, FreeWith<X509_STORE_CTX_free>>;

// A list of texts in curl's form.
class CurlList {
 public:
  // False: out of memory; the list is as it was.
  bool append(const std::string& text) {
    curl_slist* const longer = curl_slist_append(_list.get(), text.c_str());
    if (longer == nullptr) return false;
    // The first element stays where it is, so that the owner is already right unless it was empty.
    if (_list == nullptr) _list.reset(longer);
    return true;
  }
  // Null when empty; borrowed.
  curl_slist* get() const { return _list.get(); }

 private:
  std::unique_ptr<curl_slist, FreeWith<curl_slist_free_all>> _list;
};

}  // namespace zor::net

#endif  // ZOR_PLATFORM_LINUX_NET_C_HANDLES_H_
