// Serves HTTP on 127.0.0.1 to browsers and scripts of this machine that know a secret path. Each
// request is answered by a function; a stream of events stays open. Besides the TLS server, the
// only file that uses the network library.
#ifndef ZOR_SANDBOX_INSPECTOR_PAGE_SERVER_H_
#define ZOR_SANDBOX_INSPECTOR_PAGE_SERVER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace zor::sandbox {

struct PageRequest {
  std::string method;
  std::string path;   // Below the secret part, without it: "api/exchanges".
  std::string query;  // What follows the question mark, as it stands.
  std::string body;
  std::string lastEventId;  // The last event that a reconnecting listener has seen.
};

struct PageAnswer {
  int status = 200;
  std::string type = "application/json";
  std::string body = {};
  std::string allow = {};  // With status 405: the methods that there are.
  bool isStream = false;   // `body` is followed by published events until the connection closes.
};

// Everything but the constructor, listen(), run(), stop(), url() and post() runs on, or is called
// on, the server's own thread.
class PageServer {
 public:
  using Handler = std::function<PageAnswer(const PageRequest&)>;

  // `answer` is called for each request that may be answered: one with the secret, to a Host of
  // this machine, and from no other page.
  explicit PageServer(Handler answer);
  ~PageServer();
  PageServer(const PageServer&) = delete;
  PageServer& operator=(const PageServer&) = delete;

  // Listens at `port` of 127.0.0.1, 0: a free one, with a new secret. Returns what went wrong.
  // Once, before run().
  std::optional<std::string> listen(std::uint16_t port);

  // The address to open, with the secret and a slash at its end; empty before listen().
  std::string url() const;

  // Serves on a thread of its own. What was posted before runs then.
  void run();

  // Runs `task` on the server's thread, in the order of the calls and before any request that
  // arrives later. Callable from any thread; after stop() nothing runs.
  void post(std::function<void()> task);

  // Sends one event to every listener. A listener that does not read is disconnected. `id` 0: the
  // event has none. On the server's thread only.
  void publish(const std::string& name, const std::string& data, std::int64_t id);

  // Runs what was posted, ends the thread and closes everything. May be called twice.
  void stop();

 private:
  class Core;
  std::unique_ptr<Core> _core;
};

// One event as it goes over the wire; `data` has no line break.
std::string eventText(const std::string& name, const std::string& data, std::int64_t id);

}  // namespace zor::sandbox

#endif  // ZOR_SANDBOX_INSPECTOR_PAGE_SERVER_H_
