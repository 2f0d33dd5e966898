// Calls into code that may throw.
#ifndef ZOR_SUPPORT_GUARDED_CALL_H_
#define ZOR_SUPPORT_GUARDED_CALL_H_

namespace zor {

// Calls `function` with `arguments` and drops whatever it throws. For callbacks, most of them the
// host's: an exception must end neither the calling thread nor the calls that follow, and must not
// pass through frames that do not support exceptions.
template <typename Function, typename... Arguments>
void callIgnoringExceptions(const Function& function, const Arguments&... arguments) noexcept {
  try {
    function(arguments...);
  } catch (...) {  // NOLINT(bugprone-empty-catch): the purpose, see above.
  }
}

}  // namespace zor

#endif  // ZOR_SUPPORT_GUARDED_CALL_H_
