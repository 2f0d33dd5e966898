// What came in, in an SQLite file of the state folder: it is there again after a restart and can be
// queried with any SQLite client while the sandbox runs.
#ifndef ZOR_SANDBOX_INSPECTOR_EXCHANGE_STORE_H_
#define ZOR_SANDBOX_INSPECTOR_EXCHANGE_STORE_H_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/inspector/call_chains.h"
#include "sandbox/sandbox_types.h"

namespace zor::sandbox {

// Which exchanges a list has; all that is given must agree.
struct ExchangeFilter {
  std::optional<std::string> route = {};
  std::optional<std::string> outcome = {};  // "answered", "refused", "fault", "failed", "opened".
  std::optional<std::string> text = {};  // Somewhere in client, verdict, answer, host or address.
  std::optional<std::string> fingerprint = {};
  std::int64_t before = 0;  // Only those with a smaller number; 0: all.
  std::int64_t after = 0;   // Only those with a larger number.
  bool handshakes = false;  // Also those that went as they should.
  int limit = 100;
};

// The log. Values that are returned are ready to be written as JSON; a list has the newest first.
// Not for two threads at once.
class ExchangeStore {
 public:
  // Opens or makes exchanges.db in `folder`. On failure nothing is returned and `problem` names the
  // file and says why; its content is as it was.
  static std::unique_ptr<ExchangeStore> open(const std::filesystem::path& folder,
                                             std::string& problem);
  ~ExchangeStore();

  // Keep an entry and return its number; 0: it could not be kept, see problem().
  std::int64_t add(const Received& request);
  std::int64_t add(const Handshake& handshake);

  ZORValue exchanges(const ExchangeFilter& filter);
  // One line of the list; null: there is none of that number.
  ZORValue summary(std::int64_t id);
  // Everything about one exchange; null: there is none of that number. The values of the identity
  // are only given when they are to be revealed.
  ZORValue exchange(std::int64_t id, bool revealIdentity);

  ZORValue devices();
  // What differs between the reports of two exchanges; null: one of them has no report.
  ZORValue difference(std::int64_t from, std::int64_t to, bool revealIdentity);
  ZORValue failureRecords(int limit);
  // Of the newest exchanges, the oldest first.
  std::vector<ChainEvent> chainEvents(int limit);

  // False: the log could not be emptied.
  bool clear();

  // Why the last entry was not kept; empty: it was.
  const std::string& problem() const { return _problem; }

 private:
  class Queries;
  explicit ExchangeStore(std::unique_ptr<Queries> queries);

  std::unique_ptr<Queries> _queries;
  std::string _problem;
};

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_INSPECTOR_EXCHANGE_STORE_H_
