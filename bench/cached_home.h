// A user's home with a cached fingerprint, for benchmarks of the cached path.
#ifndef ZOR_BENCH_CACHED_HOME_H_
#define ZOR_BENCH_CACHED_HOME_H_

#include <string>
#include <vector>

namespace zor::bench {

// A temporary folder, removed at the end, with user defaults in which `application` (the name of an
// executable without a bundle) has a fingerprint that is valid for a day.
class CachedHome {
 public:
  explicit CachedHome(const std::string& application);
  ~CachedHome();
  CachedHome(const CachedHome&) = delete;
  CachedHome& operator=(const CachedHome&) = delete;

  const std::string& folder() const { return _folder; }
  std::string defaultsFile() const { return _defaultsFile; }
  // Settings that make a process use this home.
  std::vector<std::string> environment() const;

 private:
  const std::string _folder;
  const std::string _defaultsFile;
};

// The home of this program, in its environment from the first call on; removed when it exits. Every
// benchmark that accesses the user's files calls this first, so that the real home is left alone
// and the order of the benchmarks does not matter.
const CachedHome& ownHome();

}  // namespace zor::bench

#endif  // ZOR_BENCH_CACHED_HOME_H_
