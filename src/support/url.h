// The parts of a URL that the library looks at.
#ifndef ZOR_SUPPORT_URL_H_
#define ZOR_SUPPORT_URL_H_

#include <optional>
#include <string>
#include <string_view>

namespace zor {

// Pure functions, callable from any thread.
//
// A host is a name of letters, digits, "-", "_" and dots, a dotted quad, or an IPv6 literal without
// a zone. A name that ends in a number is a dotted quad or nothing: readers disagree on what
// "127.1" or "0x7f.1" address. Nothing else is ever put into a URL, so no host can change its other
// parts.

// `host` as it is written in a URL: IPv6 literals in brackets (given with or without them), others
// unchanged. nullopt: not a valid host.
std::optional<std::string> urlHost(std::string_view host);

// As urlHost(), but only for address literals: a name gives nullopt.
std::optional<std::string> urlAddress(std::string_view address);

// `url` with an address in place of its host; every other part stays byte for byte. nullopt: `url`
// is not an absolute URL with a host, or `address` is not an address. A name is refused: otherwise
// a source of addresses could redirect requests to any host.
std::optional<std::string> urlByReplacingHost(const std::string& url, const std::string& address);

// The host of an absolute URL, without brackets; nullopt if there is none.
std::optional<std::string> hostOfUrl(const std::string& url);

}  // namespace zor

#endif  // ZOR_SUPPORT_URL_H_
