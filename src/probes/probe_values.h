// How the probes turn a machine's values into their results: functions of plain values.
#ifndef ZOR_PROBES_PROBE_VALUES_H_
#define ZOR_PROBES_PROBE_VALUES_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/device_port.h"
#include "platform/network_port.h"
#include "platform/system_port.h"

namespace zor {

// The four entries of one USB device. A value of an unexpected kind is kept unchanged.
ZORValue usbDeviceRecord(const USBDevice& device);

// Used bytes plus those that unprivileged users may still use: what is reserved for the superuser
// does not count. All bits set if there are no figures.
std::uint64_t storageBytes(const std::optional<FileSystemFigures>& figures);

// The number of processors from the bytes of a named value in this machine's byte order: 4 bytes
// directly, 8 bytes through a double (which loses precision beyond 2^53 and is kept on purpose). 0
// for any other size.
std::uint64_t cpuCount(const Data& value);

// The text before the first NUL, or all of it; nullopt if that is not valid UTF-8.
std::optional<std::string> namedValueText(const Data& value);

// The four entries of a power source. Numbers have 32 bits; a wider one keeps its low half.
ZORValue powerSourceRecord(const PowerSource& source);

// Each byte as two digits, with the separator between them; empty for no bytes.
std::string bytesToHexString(const Data& bytes);

// The texts of the addresses that running interfaces with one of these names have, in their order.
std::vector<std::string> addressTexts(const std::vector<InterfaceAddress>& addresses,
                                      const std::vector<std::string>& interfaceNames,
                                      NetworkPort& network);

}  // namespace zor

#endif  // ZOR_PROBES_PROBE_VALUES_H_
