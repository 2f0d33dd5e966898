// Facts about this machine, its system and this process, one function for each.
//
// Every function reads the machine afresh at each call and normally answers within milliseconds:
// none starts a program, a scan or a name look-up. A device can be slow to answer, or never answer;
// on Linux a function waits for it at most 0.6 seconds and then counts the value as absent. A value
// that does not exist, or that this user may not read, is absent; only std::bad_alloc is thrown,
// and nothing is logged. All are callable from any thread. Dictionaries with a fixed number of
// entries have their keys from the operator's profile, given here in the order of the entries.
#ifndef ZORFINGERPRINT_ZORPROBES_H_
#define ZORFINGERPRINT_ZORPROBES_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zor {

// Hardware identity, from the registry of devices.

// The property `key` of the first service of class `serviceClass`, both in the platform's own
// vocabulary: a class of the registry on macOS; on Linux a class or bus of sysfs, whose properties
// are attributes and always text. Text is returned unchanged; data as the text that all its bytes
// spell in UTF-8, including a trailing NUL. Absent: no such service or property, data that is not
// valid UTF-8, any other kind of value. A null argument finds nothing.
ZOR_EXPORT std::optional<std::string> getPropertyInservice(const std::string& key,
                                                           const char* serviceClass);
inline std::optional<std::string> getPropertyInservice(const char* key, const char* serviceClass) {
  if (key == nullptr) return std::nullopt;
  return getPropertyInservice(std::string(key), serviceClass);
}

// An upper-case UUID of the machine, the same for every user.
ZOR_EXPORT std::optional<std::string> getHardwareUDID();

// As the firmware states it. On a PC with Linux only root may read it.
ZOR_EXPORT std::optional<std::string> getHardwareSerialNumber();

// As the firmware states them: the product's name, its model (on Linux the product's version), and
// the main board, which is not the host's name.
ZOR_EXPORT std::optional<std::string> getProductName();
ZOR_EXPORT std::optional<std::string> getModel();
ZOR_EXPORT std::optional<std::string> getDeviceName();

// The name that the first Bluetooth controller shows to others.
ZOR_EXPORT std::optional<std::string> getBluetoothDeviceName();

// The hardware address of the first Bluetooth controller.
ZOR_EXPORT std::optional<std::string> getBluetoothAddress();

// An array with a dictionary of four entries for each USB device, in the registry's order: product
// name, vendor number, product number, serial number (keys: kUSBProductNameKey, kUSBVendorIdKey,
// kUSBProductIdKey, kUSBSerialNumberKey). An absent text is "", an absent number 0. A device that
// is registered twice is listed twice. Empty without USB; never null.
ZOR_EXPORT ZORValue getUSBDevices();

// The system, the processor and this process.

// Name and version of the operating system, for people.
ZOR_EXPORT std::optional<std::string> getSystemVersion();

// The executable's file name.
ZOR_EXPORT std::optional<std::string> getProcessName();

// A different text for each call, on any machine.
ZOR_EXPORT std::string getProcessUniqueString();

ZOR_EXPORT std::int64_t getProcessId();

// Seconds since the system started.
ZOR_EXPORT double getSystemUptime();

// The kernel's build description, not its release number. Spelled so in the interface.
ZOR_EXPORT std::optional<std::string> getKernalVersion();

// Physical memory in bytes.
ZOR_EXPORT std::int64_t getMemorySize();

// Bytes of the system volume that are used or may still be used by ordinary users. All bits are set
// when the file system does not answer.
ZOR_EXPORT std::uint64_t getStorageSize();

// Logical processors; 0 if unknown.
ZOR_EXPORT std::uint64_t getCpuCount();

ZOR_EXPORT std::optional<std::string> getCPUBrand();

// The named kernel value as text, up to its first NUL. Absent: no such name (a null one included),
// or the value is not valid UTF-8. Linux knows only the names that the other functions need.
ZOR_EXPORT std::optional<std::string> _getSysInfoByName(const char* name);

// A dictionary of four entries for the first power source of the machine itself: charge, full
// charge (in the same unit; on Linux percent), state and name (keys: kPowerRecordChargeKey,
// kPowerRecordFullChargeKey, kPowerRecordStateKey, kPowerRecordNameKey). An absent
// number is 0, an absent text "". Absent: there is no battery and no uninterruptible supply.
ZOR_EXPORT std::optional<ZORValue> getPowerInfo();

// Environment variables that name the user's paths; those that are not set are left out.
ZOR_EXPORT std::map<std::string, std::string> getPaths();

// Network.

// Interface name to permanent hardware address ("00:1A:2B:3C:4D:5E") of every interface that is
// backed by a device. On Linux it leaves out interfaces whose driver generates their address, and
// wireless ones that do not join networks (access points, monitors). Absent if there is none. An
// interface whose device cannot be found is skipped with a line on standard output.
ZOR_EXPORT std::optional<std::map<std::string, std::string>> getMacAddress();

// IPv4 and IPv6 addresses of two interfaces, in the system's order, repeats kept. On macOS these
// are en0 and en1; on Linux, that of the default route and the first other wired or wireless one.
// An IPv6 text is spelled from the 16 bytes that begin four bytes before the address, as the
// services expect it: 2001:db8:1:2:3:4:5:6 with flow label 0 reads ::2001:db8:1:2:3:4.
ZOR_EXPORT std::vector<std::string> getIPAddresses();

// IPv4 name servers in configuration order, at most three. Absent: the resolver's configuration
// could not be read. Empty: none is configured.
ZOR_EXPORT std::optional<std::vector<std::string>> getDnsServer();

// A dictionary of four entries for the default Wi-Fi interface: its name, the network's name, the
// access point's address, the signal in dBm (keys: kWiFiNameKey, kWiFiNetworkKey,
// kWiFiAccessPointKey, kWiFiSignalKey). Both network texts are "" and the signal is 0 when it is
// not associated. Absent: there is no Wi-Fi interface.
ZOR_EXPORT std::optional<ZORValue> getWiFiInfo();

}  // namespace zor

#endif  // ZORFINGERPRINT_ZORPROBES_H_
