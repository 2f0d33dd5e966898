#import <Foundation/Foundation.h>
#include <sys/mount.h>
#include <sys/param.h>
#include <sys/sysctl.h>
#include <sys/utsname.h>

#include "platform/macos/macos_ports.h"
#include "platform/macos/values_macos.h"
#include "platform/probe_trace.h"

namespace zor {
namespace {

class MacSystem final : public SystemPort {
 public:
  std::optional<std::string> kernelVersion() override {
    noteProbeSource("uname");
    utsname names{};
    ::uname(&names);
    @autoreleasepool {
      return textFromString(foundationString(names.version));
    }
  }

  std::optional<std::string> operatingSystemVersionString() override {
    noteProbeSource("NSProcessInfo");
    @autoreleasepool {
      return textFromString(NSProcessInfo.processInfo.operatingSystemVersionString);
    }
  }

  std::optional<std::string> processName() override {
    @autoreleasepool {
      return textFromString(NSProcessInfo.processInfo.processName);
    }
  }

  std::string globallyUniqueString() override {
    @autoreleasepool {
      return textFromString(NSProcessInfo.processInfo.globallyUniqueString).value_or("");
    }
  }

  std::int32_t processIdentifier() override {
    @autoreleasepool {
      return NSProcessInfo.processInfo.processIdentifier;
    }
  }

  double systemUptimeSeconds() override {
    @autoreleasepool {
      return NSProcessInfo.processInfo.systemUptime;
    }
  }

  std::int64_t physicalMemoryBytes() override {
    noteProbeSource("NSProcessInfo");
    @autoreleasepool {
      return static_cast<std::int64_t>(NSProcessInfo.processInfo.physicalMemory);
    }
  }

  std::optional<FileSystemFigures> fileSystemFigures(const std::string& path) override {
    noteProbeSource("statfs " + path);
    struct statfs figures {};
    if (::statfs(path.c_str(), &figures) < 0) return std::nullopt;
    return FileSystemFigures{figures.f_bsize, figures.f_blocks, figures.f_bfree, figures.f_bavail};
  }

  std::optional<Data> namedValue(const std::string& name) override {
    noteProbeSource("sysctl " + name);
    std::size_t size = 0;
    if (::sysctlbyname(name.c_str(), nullptr, &size, nullptr, 0) != 0) return std::nullopt;
    Data value(size);
    if (::sysctlbyname(name.c_str(), value.data(), &size, nullptr, 0) != 0) return std::nullopt;
    value.resize(size);
    return value;
  }

  std::map<std::string, std::string> environment() override {
    noteProbeSource("environment");
    @autoreleasepool {
      std::map<std::string, std::string> variables;
      NSDictionary<NSString*, NSString*>* all = NSProcessInfo.processInfo.environment;
      for (NSString* key in all) {
        const auto name = textFromString(key);
        const auto value = textFromString(all[key]);
        if (name.has_value() && value.has_value()) variables.emplace(*name, *value);
      }
      return variables;
    }
  }
};

}  // namespace

SystemPort& macosSystemPort() {
  static constinit MadeOnce<MacSystem> port;
  return port.get();
}

}  // namespace zor
