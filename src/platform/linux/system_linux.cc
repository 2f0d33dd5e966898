#include <sys/statfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstring>
#include <ctime>

#include "literals/literals.h"
#include "platform/linux/file_reading.h"
#include "platform/linux/linux_ports.h"
#include "platform/linux/system_texts.h"
#include "platform/posix/file_io.h"
#include "platform/probe_trace.h"
#include "support/text.h"

namespace zor {
namespace {

// The first processor is among these bytes. The whole list grows with the number of processors and
// makes some kernels ask each of them for its frequency.
constexpr std::size_t kProcessorListBytes = 4096;

std::optional<std::string> validText(const char* text) {
  if (text == nullptr || !isValidUtf8(text)) return std::nullopt;
  return text;
}

std::optional<std::string> systemNameFromFile(const std::string& path) {
  const auto content = readSmallFile(path);
  return content ? systemNameFromRelease(*content) : std::nullopt;
}

// In this machine's byte order, as wide as the C interface gives it.
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
  // Of two variables of one name the first counts, as for getenv.
  variables.emplace(assignment.substr(0, equals), assignment.substr(equals + 1));
}

class LinuxSystem final : public SystemPort {
 public:
  std::optional<std::string> kernelVersion() override {
    noteProbeSource("uname");
    utsname names = {};
    return ::uname(&names) == 0 ? validText(names.version) : std::nullopt;
  }

  std::optional<std::string> operatingSystemVersionString() override {
    auto name = systemNameFromFile(literals::kSystemReleasePath.str());
    return name ? name : systemNameFromFile(literals::kVendorReleasePath.str());
  }

  std::optional<std::string> processName() override {
    noteProbeSource("program name");
    return validText(program_invocation_short_name);
  }

  // Random, process and time, in the form that the heritage platform gives such texts.
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
    return std::int64_t{::sysconf(_SC_PHYS_PAGES)} * ::sysconf(_SC_PAGESIZE);
  }

  std::optional<FileSystemFigures> fileSystemFigures(const std::string& path) override {
    noteProbeSource("statfs");
    struct statfs figures = {};
    if (retryOnSignal([&] { return ::statfs(path.c_str(), &figures); }) != 0) return std::nullopt;
    // The counts are of fragments where a file system has them; f_bsize is then the size it likes
    // to be read in.
    const auto unit = figures.f_frsize > 0 ? figures.f_frsize : figures.f_bsize;
    return FileSystemFigures{static_cast<std::uint32_t>(unit), figures.f_blocks, figures.f_bfree,
                             figures.f_bavail};
  }

  // Linux has no such namespace of values; these are the ones that probes ask for.
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
