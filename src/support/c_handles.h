// Owners for the objects that C interfaces hand out.
#ifndef ZOR_SUPPORT_C_HANDLES_H_
#define ZOR_SUPPORT_C_HANDLES_H_

namespace zor {

// A deleter for std::unique_ptr that calls `Free`.
template <auto Free>
struct FreeWith {
  template <typename Handle>
  void operator()(Handle* handle) const noexcept {
    Free(handle);
  }
};

}  // namespace zor

#endif  // ZOR_SUPPORT_C_HANDLES_H_
