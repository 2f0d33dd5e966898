// Keeps secrets in memory only while they are used.
#ifndef ZOR_SUPPORT_WIPED_H_
#define ZOR_SUPPORT_WIPED_H_

#include <cstddef>

namespace zor {

// Overwrites `size` bytes with zeros, even if nothing reads them afterwards.
inline void wipe(void* bytes, std::size_t size) noexcept {
  auto* const place = static_cast<volatile unsigned char*>(bytes);
  for (std::size_t index = 0; index < size; ++index) place[index] = 0;
}

// Wipes an object at the end of a scope: a text, bytes, or the plain state of a cipher. Until then
// the object must keep its memory: it must not be moved from or grow.
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
