// A whole collection, compared with only reading the same files.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <sys/statfs.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/cached_home.h"
#include "collector/ZORDataCollector_mac.h"

namespace zor::bench {
namespace {

constexpr int kSharedSlots = 100;

void readFile(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return;
  char content[4096];
  benchmark::DoNotOptimize(::read(file, content, sizeof content));
  ::close(file);
}

void readDevices(const std::string& folder, const std::vector<std::string>& attributes) {
  DIR* opened = ::opendir(folder.c_str());
  if (opened == nullptr) return;
  while (const dirent* entry = ::readdir(opened)) {
    if (entry->d_name[0] == '.') continue;
    const std::string device = folder + "/" + entry->d_name;
    char link[4096];
    benchmark::DoNotOptimize(::readlink(device.c_str(), link, sizeof link));
    if (folder == "/sys/class/net" && ::access((device + "/device").c_str(), F_OK) != 0) continue;
    for (const std::string& attribute : attributes) readFile(device + "/" + attribute);
  }
  ::closedir(opened);
}

// The files, folders and calls of a collection, each as often as a collection needs it.
void readSources() {
  utsname names;
  benchmark::DoNotOptimize(::uname(&names));
  struct statfs figures;
  benchmark::DoNotOptimize(::statfs("/", &figures));
  readDevices("/sys/class/dmi", {"product_name", "product_version", "product_serial"});
  readDevices("/sys/bus/usb/devices", {"uevent", "product", "idVendor", "idProduct", "serial"});
  readDevices("/sys/class/power_supply", {"type", "scope", "present", "capacity", "status"});
  readDevices("/sys/class/bluetooth", {});
  readDevices("/sys/class/net", {"uevent", "type", "ifindex"});
  for (const char* path : {"/sys/devices/system/cpu/online", "/proc/cpuinfo", "/etc/os-release",
                           "/etc/resolv.conf", "/etc/machine-id"}) {
    readFile(path);
  }
  ifaddrs* addresses = nullptr;
  if (::getifaddrs(&addresses) == 0) ::freeifaddrs(addresses);
  for (int slot = 0; slot < kSharedSlots; ++slot) {
    readFile(ownHome().folder() + "/slots/" + std::to_string(slot));
  }
}

// The time of one run of `work` in a child that has run nothing of the library before.
double secondsInChild(void (*work)()) {
  int ends[2];
  if (::pipe(ends) != 0) std::abort();
  const pid_t child = ::fork();
  if (child == 0) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    const double seconds = time.count();
    ::_exit(::write(ends[1], &seconds, sizeof seconds) == sizeof seconds ? 0 : 1);
  }
  double seconds = 0;
  if (::read(ends[0], &seconds, sizeof seconds) != sizeof seconds) std::abort();
  ::close(ends[0]);
  ::close(ends[1]);
  ::waitpid(child, nullptr, 0);
  return seconds;
}

void collectOnce() { benchmark::DoNotOptimize(ZORDataCollector_mac().collect()); }

// Each iteration is the first of its process. Registered before the warm one, which would warm up
// the process that is copied.
void cold(benchmark::State& state, void (*work)()) {
  ownHome();
  for ([[maybe_unused]] const auto iteration : state) state.SetIterationTime(secondsInChild(work));
}
BENCHMARK_CAPTURE(cold, readSources, readSources)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(cold, collection, collectOnce)->UseManualTime()->Unit(benchmark::kMicrosecond);

void warm(benchmark::State& state, void (*work)()) {
  ownHome();
  for ([[maybe_unused]] const auto iteration : state) work();
}
BENCHMARK_CAPTURE(warm, readSources, readSources)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(warm, collection, collectOnce)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace zor::bench
