// Value types shared by the public interface.
#ifndef ZORFINGERPRINT_ZORTYPES_H_
#define ZORFINGERPRINT_ZORTYPES_H_

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <variant>
#include <vector>

// Marks what a host may link against; everything else stays hidden.
#if defined(__GNUC__)
#define ZOR_EXPORT __attribute__((visibility("default")))
#else
#define ZOR_EXPORT
#endif

namespace zor {

// Raw bytes.
using Data = std::vector<std::uint8_t>;

// A JSON-like object: dictionary, array, text, number, boolean or null.
using Json = nlohmann::json;

// A failure of this library or of the platform under it.
struct ZORError {
  // Who defines `code`: one of this library's domains or a platform's.
  std::string domain;
  std::int64_t code = 0;
  // For people; never holds hardware values, keys or fingerprints.
  std::string localizedDescription;

  friend bool operator==(const ZORError& left, const ZORError& right) {
    return left.code == right.code && left.domain == right.domain &&
           left.localizedDescription == right.localizedDescription;
  }
};

// What a fingerprint callback gets beside `success`: nothing, an error of ours or of the platform,
// or the service's whole answer when it refused. Callers must not assume an error object.
using ZORFingerprintError = std::variant<std::monostate, ZORError, Json>;

}  // namespace zor

#endif  // ZORFINGERPRINT_ZORTYPES_H_
