#include "bench/cached_home.h"

#include <cstdlib>
#include <filesystem>
#include <tuple>

#include "literals/literals.h"
#include "platform/linux/defaults_linux.h"
#include "platform/ports.h"
#include "store/dfp_store.h"
#include "support/text.h"

namespace zor::bench {
namespace {

std::string makeFolder() {
  std::string pattern = std::filesystem::temp_directory_path() / "zor-bench-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) std::abort();
  return pattern;
}

}  // namespace

CachedHome::CachedHome(const std::string& application)
    : _folder(makeFolder()),
      _defaultsFile(_folder + "/config/zorfingerprint/" + application + ".json") {
  LinuxDefaults defaults([path = _defaultsFile] { return path; });
  const double now = ports().clock.secondsSince1970();
  constexpr double kDaySeconds = 86400;
  std::ignore =
      defaults.setObject(dfp_slot_key(literals::kFingerprintSlot.view()), "a-cached-fingerprint");
  std::ignore = defaults.setObject(dfp_slot_key(literals::kExpirySlot.view()),
                                   shortestDecimal(now + kDaySeconds));
  // No upload of failure records is due either, as in a host that asks often.
  std::ignore = defaults.setObject(
      literals::kPingbackUploadTimeKeyStart.str() + literals::kPingbackUploadTimeKeyEnd.str(),
      shortestDecimal(now));
}

CachedHome::~CachedHome() {
  std::error_code ignored;
  std::filesystem::remove_all(_folder, ignored);
}

std::vector<std::string> CachedHome::environment() const {
  return {"HOME=" + _folder, "XDG_CONFIG_HOME=" + _folder + "/config",
          "XDG_DATA_HOME=" + _folder + "/data", "PATH=/usr/bin:/bin"};
}

const CachedHome& ownHome() {
  static const CachedHome* home = nullptr;
  if (home != nullptr) return *home;
  home = new CachedHome("zor_bench");
  for (const std::string& setting : home->environment()) {
    const auto equals = setting.find('=');
    ::setenv(setting.substr(0, equals).c_str(), setting.substr(equals + 1).c_str(), 1);
  }
  std::atexit([] { delete home; });
  return *home;
}

}  // namespace zor::bench
