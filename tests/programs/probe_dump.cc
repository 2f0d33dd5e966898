// Prints the result of every probe, one line each, with its sources and the time it took.
// With the argument "collect": makes one collection instead and prints its size.
#include <ZORFingerPrint/ZORProbes.h>

#include <chrono>
#include <cstdio>
#include <cstring>

#include "collector/ZORDataCollector_mac.h"
#include "platform/ports.h"
#include "platform/probe_trace.h"
#include "support/json_codec.h"

namespace zor {
namespace {

template <typename Value>
ZORValue valueOf(const std::optional<Value>& value) {
  return ZORValue::orNull(value);
}
template <typename Value>
ZORValue valueOf(const Value& value) {
  return value;
}

template <typename Probe>
void dump(const char* name, Probe probe) {
  const ProbeTrace trace;
  const auto start = std::chrono::steady_clock::now();
  const ZORValue value = valueOf(probe());
  const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
  std::printf("%-24s %6.0f us  %s  [%s]%s\n", name, time.count(), jsonForDisplay(value).c_str(),
              trace.sources().c_str(), trace.denied() ? " DENIED" : "");
}

ZORValue integritySignal() {
  const auto signal = ports().integrity.signal();
  return ZORValue::array({signal.foreignAddress, signal.changedCode});
}

}  // namespace
}  // namespace zor

int main(int argumentCount, char** arguments) {
  zor::ports().integrity.enable();
  if (argumentCount > 1 && std::strcmp(arguments[1], "collect") == 0) {
    std::printf("%zu entries\n", zor::ZORDataCollector_mac().collect().size());
    return 0;
  }
#define ZOR_DUMP(probe) zor::dump(#probe, zor::probe)
  ZOR_DUMP(getKernalVersion);
  ZOR_DUMP(getMemorySize);
  ZOR_DUMP(getProductName);
  ZOR_DUMP(getModel);
  ZOR_DUMP(getCpuCount);
  ZOR_DUMP(getCPUBrand);
  ZOR_DUMP(getUSBDevices);
  ZOR_DUMP(getStorageSize);
  ZOR_DUMP(getPowerInfo);
  ZOR_DUMP(getBluetoothDeviceName);
  ZOR_DUMP(getWiFiInfo);
  ZOR_DUMP(getSystemVersion);
  ZOR_DUMP(getPaths);
  ZOR_DUMP(getDnsServer);
  ZOR_DUMP(getIPAddresses);
  ZOR_DUMP(integritySignal);
  ZOR_DUMP(getMacAddress);
  ZOR_DUMP(getBluetoothAddress);
  ZOR_DUMP(getHardwareUDID);
  ZOR_DUMP(getHardwareSerialNumber);
  ZOR_DUMP(getDeviceName);
  ZOR_DUMP(getProcessName);
  ZOR_DUMP(getProcessUniqueString);
  ZOR_DUMP(getProcessId);
  ZOR_DUMP(getSystemUptime);
#undef ZOR_DUMP
}
