// Secrets that stay in memory only while they are used.
#ifndef ZOR_SUPPORT_WIPED_H_
#define ZOR_SUPPORT_WIPED_H_

#include <cstddef>

namespace zor {

// Overwrites `size` bytes with zeros, even if nobody reads them afterwards.
inline void wipe(void* bytes, std::size_t size) noexcept {
  auto* const place = static_cast<volatile unsigned char*>(bytes);
  for (std::size_t index = 0; index < size; ++index) place[index] = 0;
}

// Wipes an object at the end of a scope: a text, bytes, or the plain state of a cipher. The object
// keeps its memory until then: it is not moved from and does not grow.
template <typename Secret>
class WipedAtEnd {
 public:
  explicit WipedAtEnd(Secret& secret) noexcept : _secret(secret) {}
  ~WipedAtEnd() {
    if constexpr (requires { _secret.data(); }) {
      wipe(_secret.data(), _secret.size() * sizeof *_secret.data());
    } else {
      wipe(&_secret, sizeof _secret);
    }
  }
  WipedAtEnd(const WipedAtEnd&) = delete;
  WipedAtEnd& operator=(const WipedAtEnd&) = delete;

 private:
  Secret& _secret;
};

}  // namespace zor

#endif  // ZOR_SUPPORT_WIPED_H_
