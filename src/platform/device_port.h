// The machine's devices, and what its firmware says about it.
#ifndef ZOR_PLATFORM_DEVICE_PORT_H_
#define ZOR_PLATFORM_DEVICE_PORT_H_

#include <ZORFingerPrint/ZORTypes.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zor {

enum class FirmwareText { serialNumber, productName, model, boardName };

// Each value is what the platform reports, of whatever kind; null if there is none.
struct USBDevice {
  ZORValue productName;
  ZORValue vendorId;
  ZORValue productId;
  ZORValue serialNumber;
};

// The address of the device behind a network interface.
struct HardwareAddress {
  std::optional<std::string> interfaceName;
  std::optional<Data> bytes;
  // 0, or the platform's error number if the device could not be found.
  std::int32_t deviceStatus = 0;
};

struct BluetoothController {
  std::optional<std::string> name;
  std::optional<std::string> address;
};

// A battery or an uninterruptible supply. Absent or null: the platform does not report it.
struct PowerSource {
  std::optional<std::int64_t> charge;
  std::optional<std::int64_t> fullCharge;  // In the unit of `charge`.
  ZORValue state;
  ZORValue name;
};

// Values that a backend reads before it is asked for them, until this object is destroyed. Confined
// to the thread that made it.
class ReadAhead {
 public:
  virtual ~ReadAhead() = default;
};

// Reads the machine at each call. Callable from any thread. A value that this user may not read is
// absent, and noted in the probe's trace.
//
// May block: a device can be slow to answer, or never answer. On Linux no call waits longer than
// 0.6 seconds; a value that has not arrived by then is absent and noted in the probe's trace, and
// the next call takes it if it has arrived meanwhile. On macOS the platform sets no limit.
class DevicePort {
 public:
  virtual ~DevicePort() = default;

  // The same for every user of the machine; upper case.
  virtual std::optional<std::string> machineUuid() = 0;

  virtual std::optional<std::string> firmwareText(FirmwareText which) = 0;

  // The first controller; nullopt without one.
  virtual std::optional<BluetoothController> bluetoothController() = 0;

  // In the platform's order; a device registered twice is listed twice. nullopt: the platform could
  // not be asked (not the same as an empty list).
  virtual std::optional<std::vector<USBDevice>> usbDevices() = 0;

  // One for each interface that is backed by a device; nullopt as above.
  virtual std::optional<std::vector<HardwareAddress>> hardwareAddresses() = 0;

  // The first power source of the machine itself; batteries of peripherals do not count. nullopt:
  // there is none, or it vanished while it was read.
  virtual std::optional<PowerSource> firstPowerSource() = 0;

  // The property `key` of the first device of `deviceClass`, in the platform's own vocabulary: a
  // registry class on macOS, a class or bus of sysfs on Linux. nullopt: no such device or property.
  virtual std::optional<ZORValue> property(const std::string& deviceClass,
                                           const std::string& key) = 0;

  // Starts to read everything that a collection asks of this port, the Wi-Fi port and the network
  // port. While the result lives, the calling thread's calls are answered from it. Null: this
  // backend does not read ahead.
  virtual std::unique_ptr<ReadAhead> readAhead() { return nullptr; }
};

// A property as text: text as it is, data decoded as a whole (its trailing NUL stays). nullopt:
// data that is not valid UTF-8, and any other kind.
std::optional<std::string> propertyText(const ZORValue& value);

}  // namespace zor

#endif  // ZOR_PLATFORM_DEVICE_PORT_H_
