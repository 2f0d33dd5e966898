// The parts of a URL that the library looks at.
#ifndef ZOR_SUPPORT_URL_H_
#define ZOR_SUPPORT_URL_H_

#include <optional>
#include <string>

namespace zor {

// `url` taken apart and rebuilt with another host; scheme, port, path, query and fragment are kept.
// nullopt: `url` is no absolute URL, or `host` is neither a name nor an address (so a host with
// "/",
// "@", "#", ":" outside of an IPv6 literal, white space or a control character is never put in).
std::optional<std::string> urlByReplacingHost(const std::string& url, const std::string& host);

// The host component of an absolute URL, without brackets; nullopt when there is none.
std::optional<std::string> hostOfUrl(const std::string& url);

}  // namespace zor

#endif  // ZOR_SUPPORT_URL_H_
