#include <ZORFingerPrint/ZORProbes.h>

#include "literals/literals.h"
#include "platform/ports.h"
#include "probes/probe_values.h"

namespace zor {

std::optional<std::string> getSystemVersion() {
  return ports().system.operatingSystemVersionString();
}

std::optional<std::string> getProcessName() { return ports().system.processName(); }

std::string getProcessUniqueString() { return ports().system.globallyUniqueString(); }

std::int64_t getProcessId() { return ports().system.processIdentifier(); }

double getSystemUptime() { return ports().system.systemUptimeSeconds(); }

std::optional<std::string> getKernalVersion() { return ports().system.kernelVersion(); }

std::int64_t getMemorySize() { return ports().system.physicalMemoryBytes(); }

std::uint64_t getStorageSize() {
  return storageBytes(ports().system.fileSystemFigures(literals::kStoragePath.str()));
}

std::uint64_t getCpuCount() {
  return cpuCount(ports().system.namedValue(literals::kCpuCountName.str()).value_or(Data()));
}

std::optional<std::string> getCPUBrand() {
  return _getSysInfoByName(literals::kCPUBrandName.c_str());
}

std::optional<std::string> _getSysInfoByName(const char* name) {
  if (name == nullptr) return std::nullopt;
  const auto value = ports().system.namedValue(name);
  return value ? namedValueText(*value) : std::nullopt;
}

std::optional<ZORValue> getPowerInfo() {
  const auto source = ports().devices.firstPowerSource();
  if (!source) return std::nullopt;
  return powerSourceRecord(*source);
}

std::map<std::string, std::string> getPaths() {
  const auto environment = ports().system.environment();
  std::map<std::string, std::string> paths;
  const auto take = [&](const auto& variable, const auto& key) {
    const auto found = environment.find(variable.str());
    if (found != environment.end()) paths.insert_or_assign(key.str(), found->second);
  };
  take(literals::kHomeVariable, literals::kPathsHomeKey);
  take(literals::kSearchPathVariable, literals::kPathsSearchPathKey);
  take(literals::kTemporaryFolderVariable, literals::kPathsTemporaryFolderKey);
  take(literals::kShellVariable, literals::kPathsShellKey);
  return paths;
}

}  // namespace zor
