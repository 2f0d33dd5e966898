// Calls into code that may throw.
#ifndef ZOR_SUPPORT_GUARDED_CALL_H_
#define ZOR_SUPPORT_GUARDED_CALL_H_

namespace zor {

// Calls `function` with `arguments`; what it throws is dropped. For callbacks, most of them the
// host's: the failure of one must end neither the thread it is called on nor the calls after it,
// and must not pass through frames that know no exceptions.
template <typename Function, typename... Arguments>
void callIgnoringExceptions(const Function& function, const Arguments&... arguments) noexcept {
  try {
    function(arguments...);
  } catch (...) {  // NOLINT(bugprone-empty-catch): the purpose, see above.
  }
}

}  // namespace zor

#endif  // ZOR_SUPPORT_GUARDED_CALL_H_
