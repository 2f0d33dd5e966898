#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "literals/literals.h"
#include "platform/linux/bundle_linux.h"
#include "platform/linux/file_reading.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/system_texts.h"
#include "platform/posix/file_io.h"
#include "platform/probe_trace.h"
#include "support/text.h"

namespace zor {
namespace {

// These bytes include the first processor. The whole list grows with the number of processors, and
// reading it makes some kernels ask each one for its frequency.
constexpr std::size_t kProcessorListBytes = 4096;

std::optional<std::string> validText(const char* text) {
  if (text == nullptr || !isValidUtf8(text)) return std::nullopt;
  return text;
}

std::optional<std::string> systemNameFromFile(const std::string& path) {
  const auto content = readSmallFile(path);
  return content ? systemNameFromRelease(*content) : std::nullopt;
}

// Packages with a runtime of their own see the host's description elsewhere.
std::vector<std::string> systemReleasePaths() {
  std::vector<std::string> paths;
  if (::access("/.flatpak-info", F_OK) == 0) {
    paths = {literals::kFlatpakHostReleasePath.str()};
  } else if (::getenv("SNAP_NAME") != nullptr) {
    const std::string host = literals::kSnapHostFolder.str();
    paths = {host + literals::kSystemReleasePath.str(), host + literals::kVendorReleasePath.str()};
  }
  paths.push_back(literals::kSystemReleasePath.str());
  paths.push_back(literals::kVendorReleasePath.str());
  return paths;
}

// The file name of the program, whatever argv[0] says. A program that an update has replaced since
// it started keeps its name.
std::optional<std::string> executableName() {
  constexpr std::string_view kDeletedMark = " (deleted)";
  std::string path = executablePath();
  if (path.empty()) return std::nullopt;
  const bool marked =
      path.size() > kDeletedMark.size() &&
      path.compare(path.size() - kDeletedMark.size(), kDeletedMark.size(), kDeletedMark) == 0 &&
      ::access(path.c_str(), F_OK) != 0;
  if (marked) path.resize(path.size() - kDeletedMark.size());
  return path.substr(path.rfind('/') + 1);
}

// In this machine's byte order, with the width that the C interface uses.
std::optional<Data> processorCountValue() {
  noteProbeSource("sysconf");
  const auto count = static_cast<std::int32_t>(::sysconf(_SC_NPROCESSORS_ONLN));
  if (count < 0) return std::nullopt;
  Data value(sizeof count);
  std::memcpy(value.data(), &count, sizeof count);
  return value;
}

std::optional<Data> processorModelValue() {
  const auto list = readSmallFile(literals::kCpuInfoPath.str(), kProcessorListBytes);
  const auto model = list ? processorModelFromList(*list) : std::nullopt;
  if (!model) return std::nullopt;
  Data value = utf8Bytes(*model);
  value.push_back(0);
  return value;
}

void addVariable(std::string_view assignment, std::map<std::string, std::string>& variables) {
  const auto equals = assignment.find('=');
  if (equals == std::string_view::npos || !isValidUtf8(assignment)) return;
  // If a name occurs twice, the first value counts, as for getenv.
  variables.emplace(assignment.substr(0, equals), assignment.substr(equals + 1));
}

// The memory that sysfs shows as blocks; 0 if it shows none. Other figures leave out what the
// kernel reserves for itself, which varies with release and settings.
std::int64_t builtInMemoryBytes() {
  const std::string folder = literals::kMemoryBlocksPath.str();
  struct stat status = {};
  if (::stat(folder.c_str(), &status) != 0) return 0;
  const bool hasPower = ::access((folder + "/power").c_str(), F_OK) == 0;
  const auto blockSize = readSmallFile(folder + "/block_size_bytes");
  return memoryOfBlocks(blockSize.value_or(""), status.st_nlink - (hasPower ? 1 : 0));
}

class LinuxSystem final : public SystemPort {
 public:
  std::optional<std::string> kernelVersion() override {
    noteProbeSource("uname");
    utsname names = {};
    return ::uname(&names) == 0 ? validText(names.version) : std::nullopt;
  }

  std::optional<std::string> operatingSystemVersionString() override {
    for (const std::string& path : systemReleasePaths()) {
      if (auto name = systemNameFromFile(path)) return name;
    }
    return std::nullopt;
  }

  std::optional<std::string> processName() override {
    noteProbeSource("/proc/self/exe");
    const auto name = executableName();
    return validText(name ? name->c_str() : program_invocation_short_name);
  }

  // A random UUID, the process and the time, in the heritage platform's form.
  std::string globallyUniqueString() override {
    timespec now = {};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return linuxRandomPort().uuidString() + "-" + std::to_string(::getpid()) + "-" +
           std::to_string(now.tv_sec) + std::to_string(now.tv_nsec);
  }

  std::int32_t processIdentifier() override { return ::getpid(); }

  double systemUptimeSeconds() override {
    noteProbeSource("clock_gettime");
    timespec sinceStart = {};
    ::clock_gettime(CLOCK_BOOTTIME, &sinceStart);
    return static_cast<double>(sinceStart.tv_sec) + static_cast<double>(sinceStart.tv_nsec) / 1e9;
  }

  std::int64_t physicalMemoryBytes() override {
    noteProbeSource("sysconf");
    const std::int64_t left = std::int64_t{::sysconf(_SC_PHYS_PAGES)} * ::sysconf(_SC_PAGESIZE);
    return std::max(left, builtInMemoryBytes());
  }

  std::optional<FileSystemFigures> fileSystemFigures(const std::string& path) override {
    noteProbeSource("statfs");
    struct statfs figures = {};
    if (retryOnSignal([&] { return ::statfs(path.c_str(), &figures); }) != 0) return std::nullopt;
    // The counts are in fragments if the file system has them; f_bsize is then only its preferred
    // size for reading.
    const auto unit = figures.f_frsize > 0 ? figures.f_frsize : figures.f_bsize;
    return FileSystemFigures{static_cast<std::uint32_t>(unit), figures.f_blocks, figures.f_bfree,
                             figures.f_bavail};
  }

  // Linux has no such namespace; these are the values that probes ask for.
  std::optional<Data> namedValue(const std::string& name) override {
    if (name == literals::kCpuCountName.view()) return processorCountValue();
    if (name == literals::kCPUBrandName.view()) return processorModelValue();
    return std::nullopt;
  }

  std::map<std::string, std::string> environment() override {
    noteProbeSource("environment");
    std::map<std::string, std::string> variables;
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
      addVariable(*variable, variables);
    }
    return variables;
  }
};

}  // namespace

SystemPort& linuxSystemPort() {
  static constinit MadeOnce<LinuxSystem> port;
  return port.get();
}

}  // namespace zor
