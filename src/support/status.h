// The outcome of a call that may fail, and of reading something that is stored.
#ifndef ZOR_SUPPORT_STATUS_H_
#define ZOR_SUPPORT_STATUS_H_

#include <optional>
#include <string>
#include <utility>

namespace zor {

// Success, or what failed and why. The texts are for logs and for people.
class [[nodiscard]] Status {
 public:
  Status() = default;  // Success.

  // A system call failed with that errno value, which `reason` describes; trying again later may
  // succeed. `failure`: "cannot write /x/y".
  static Status ofSystem(std::string failure, int systemError, std::string reason) {
    return Status(Kind::systemError, std::move(failure), systemError, std::move(reason));
  }
  // A lock was held for too long by `holder`, such as "another process".
  static Status busy(std::string failure, const std::string& holder) {
    return Status(Kind::busy, std::move(failure), 0, holder + " holds the lock");
  }
  // The value given, or the thing found in its place, cannot be used: too large, a link, a text
  // that is not valid UTF-8. Trying again will not help.
  static Status unusable(std::string failure, std::string reason) {
    return Status(Kind::unusable, std::move(failure), 0, std::move(reason));
  }

  bool isSuccess() const { return _kind == Kind::success; }
  bool isBusy() const { return _kind == Kind::busy; }
  bool isUnusable() const { return _kind == Kind::unusable; }
  int systemError() const { return _systemError; }  // 0 unless a system call failed.
  const std::string& reason() const { return _reason; }
  // "cannot write /x/y: No space left on device". Empty for success.
  std::string sentence() const { return isSuccess() ? "" : _failure + ": " + _reason; }

 private:
  enum class Kind { success, systemError, busy, unusable };

  Status(Kind kind, std::string failure, int systemError, std::string reason)
      : _kind(kind),
        _systemError(systemError),
        _failure(std::move(failure)),
        _reason(std::move(reason)) {}

  Kind _kind = Kind::success;
  int _systemError = 0;
  std::string _failure;
  std::string _reason;
};

// One of three results: the content; nothing is stored; it cannot be read now. In the third case
// something may be stored, so callers must neither overwrite it nor keep a new value in its place.
template <typename Content>
class [[nodiscard]] Reading {
 public:
  Reading() = default;  // Nothing is there.
  // NOLINTBEGIN(google-explicit-constructor): a reading represents what was found.
  Reading(Content content) : _content(std::move(content)) {}
  Reading(Status status) : _status(std::move(status)) {}
  // NOLINTEND(google-explicit-constructor)

  explicit operator bool() const { return _content.has_value(); }
  Content& operator*() { return *_content; }
  const Content& operator*() const { return *_content; }
  const Content* operator->() const { return &*_content; }
  Content* operator->() { return &*_content; }

  const std::optional<Content>& content() const { return _content; }
  // Something that can never be content, such as a link, counts as nothing stored.
  bool isUnreadable() const { return !_content && !_status.isSuccess() && !_status.isUnusable(); }
  // Why there is no content; success if nothing is there.
  const Status& status() const { return _status; }

 private:
  std::optional<Content> _content;
  Status _status;
};

}  // namespace zor

#endif  // ZOR_SUPPORT_STATUS_H_
