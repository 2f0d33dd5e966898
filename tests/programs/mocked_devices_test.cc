// The Linux backend on whole machines that umockdev puts in the place of /sys. A program of its
// own, since umockdev's library has to be preloaded.
#include <ZORFingerPrint/ZORProbes.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <umockdev.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "platform/ports.h"
#include "platform/probe_trace.h"

namespace zor {
namespace {

constexpr char kFirmware[] = R"(P: /devices/virtual/dmi/id
E: SUBSYSTEM=dmi
A: product_name=Aero 14 Gen 3
A: product_version=
A: product_serial=NW3K7P2204
A: board_name=0K9M4T

)";

constexpr char kLaptop[] = R"(P: /devices/pci0000:00/0000:00:1f.6
E: SUBSYSTEM=pci

P: /devices/pci0000:00/0000:00:1f.6/net/zorwired0
E: SUBSYSTEM=net
A: address=54:e1:ad:3b:10:c7
A: type=1
A: addr_assign_type=0
L: device=../../../0000:00:1f.6

P: /devices/pci0000:00/0000:00:1e.0/net/zorwired1
E: SUBSYSTEM=net
A: address=54:e1:ad:3b:10:c8
A: type=1
A: addr_assign_type=1
L: device=../../../0000:00:1f.6

P: /devices/pci0000:00/0000:00:14.3/net/zorair0
E: SUBSYSTEM=net
E: DEVTYPE=wlan
A: address=3c:58:c2:9d:41:7e
A: type=1
L: device=../../../0000:00:1f.6

P: /devices/pci0000:00/0000:00:14.3/net/zorwwan0
E: SUBSYSTEM=net
E: DEVTYPE=wwan
A: address=
A: type=65534
L: device=../../../0000:00:1f.6

P: /devices/virtual/net/zorbridge0
E: SUBSYSTEM=net
E: DEVTYPE=bridge
A: address=02:42:ac:11:00:01
A: type=1

P: /devices/pci0000:00/usb1
E: SUBSYSTEM=usb
E: DEVTYPE=usb_device
A: idVendor=1d6b
A: product=Host Controller

P: /devices/pci0000:00/usb1/1-2
E: SUBSYSTEM=usb
E: DEVTYPE=usb_device
A: idVendor=046d
A: idProduct=c52b
A: product=Empfänger

P: /devices/pci0000:00/usb1/1-2/1-2:1.0
E: SUBSYSTEM=usb
E: DEVTYPE=usb_interface

P: /devices/pci0000:00/usb1/1-1
E: SUBSYSTEM=usb
E: DEVTYPE=usb_device
A: idVendor=46f4
A: idProduct=0001
A: product=Stick
A: serial=4C530001140824109262

P: /devices/pci0000:00/0000:00:14.0/bluetooth/hci900
E: SUBSYSTEM=bluetooth
E: DEVTYPE=host
A: name=Aero of Sam
A: address=00:aa:01:00:00:00

P: /devices/pci0000:00/0000:00:01.0/usb9/9-1
E: SUBSYSTEM=usb
E: DEVTYPE=usb_device
A: removable=removable
A: idVendor=0a12
A: idProduct=0001

P: /devices/pci0000:00/0000:00:01.0/usb9/9-1/9-1:1.0/bluetooth/hci899
E: SUBSYSTEM=bluetooth
E: DEVTYPE=host
A: name=Stick
A: address=00:aa:01:00:00:01

P: /devices/pci0000:00/0000:00:01.0/usb9/9-1/9-1:1.1/net/zordock0
E: SUBSYSTEM=net
A: address=54:e1:ad:3b:10:c9
A: type=1
L: device=../../../9-1:1.1

P: /devices/LNXSYSTM:00/ACPI0003:00/power_supply/AC0
E: SUBSYSTEM=power_supply
A: type=Mains
A: online=1

P: /devices/LNXSYSTM:00/HID/power_supply/hid-mouse-battery
E: SUBSYSTEM=power_supply
A: type=Battery
A: scope=Device
A: capacity=11

P: /devices/LNXSYSTM:00/PNP0C0A:00/power_supply/BAT0
E: SUBSYSTEM=power_supply
A: type=Battery
A: present=1
A: status=Discharging
A: capacity=73

P: /devices/LNXSYSTM:00/PNP0C0A:00/power_supply/BAT1
E: SUBSYSTEM=power_supply
A: type=Battery
A: capacity=1

)";

class MockedMachine : public ::testing::Test {
 protected:
  void SetUp() override {
    _testbed.reset(umockdev_testbed_new());
    if (umockdev_in_mock_environment() == 0) GTEST_SKIP() << "umockdev is not preloaded";
    // An ordinary user can read this machine too.
    ::chmod(::getenv("UMOCKDEV_DIR"), 0755);
  }

  void add(const std::string& description) {
    GError* error = nullptr;
    umockdev_testbed_add_from_string(_testbed.get(), description.c_str(), &error);
    ASSERT_EQ(error, nullptr) << error->message;
  }
  std::string realPath(const std::string& path) {
    const std::unique_ptr<char, decltype(&g_free)> root(
        umockdev_testbed_get_root_dir(_testbed.get()), g_free);
    return root.get() + path;
  }
  UMockdevTestbed* testbed() { return _testbed.get(); }

 private:
  std::unique_ptr<UMockdevTestbed, decltype(&g_object_unref)> _testbed{nullptr, g_object_unref};
};

// Drops root's rights for its lifetime.
class AsOrdinaryUser {
 public:
  AsOrdinaryUser() {
    if (_wasRoot && ::seteuid(65534) != 0) std::abort();
  }
  ~AsOrdinaryUser() {
    if (_wasRoot && ::seteuid(0) != 0) std::abort();
  }

 private:
  const bool _wasRoot = ::geteuid() == 0;
};

TEST_F(MockedMachine, FirmwareTextsComeAsTheyStandAndWhatMayNotBeReadIsAbsentAndNoted) {
  add(kFirmware);
  EXPECT_EQ(getProductName(), "Aero 14 Gen 3");
  EXPECT_EQ(getDeviceName(), "0K9M4T");
  EXPECT_EQ(getModel(), std::nullopt) << "an empty attribute";
  EXPECT_EQ(getHardwareSerialNumber(), "NW3K7P2204");
  const auto uuid = getHardwareUDID();

  ::chmod(realPath("/sys/devices/virtual/dmi/id/product_serial").c_str(),
          ::geteuid() == 0 ? S_IRUSR : 0);
  const AsOrdinaryUser user;
  const ProbeTrace trace;
  EXPECT_EQ(getHardwareSerialNumber(), std::nullopt);
  EXPECT_TRUE(trace.denied());
  EXPECT_NE(trace.sources().find("/sys/class/dmi/id/product_serial"), std::string::npos);
  EXPECT_EQ(getHardwareUDID(), uuid) << "the same for every user";
}

TEST_F(MockedMachine, ALaptopShowsItsDevicesAndNoOthers) {
  add(kLaptop);
  const auto receiver = ZORValue::dictionary({{"usbProductName", "Empfänger"},
                                              {"usbVendorId", 0x046d},
                                              {"usbProductId", 0xc52b},
                                              {"usbSerialText", ""}});
  const auto stick = ZORValue::dictionary({{"usbProductName", "Stick"},
                                           {"usbVendorId", 0x46f4},
                                           {"usbProductId", 1},
                                           {"usbSerialText", "4C530001140824109262"}});
  const auto radio = ZORValue::dictionary({{"usbProductName", ""},
                                           {"usbVendorId", 0x0a12},
                                           {"usbProductId", 1},
                                           {"usbSerialText", ""}});
  EXPECT_EQ(getUSBDevices(), ZORValue::array({radio, stick, receiver})) << "without the root hub";
  EXPECT_EQ(getPowerInfo(), ZORValue::dictionary({{"powerCapacity", 73},
                                                  {"powerFullCapacity", 100},
                                                  {"powerStateText", "Discharging"},
                                                  {"powerSourceName", "BAT0"}}));
  // The kernel does not know this controller, so sysfs is used.
  EXPECT_EQ(getBluetoothDeviceName(), "Aero of Sam");
  EXPECT_EQ(getBluetoothAddress(), "00:aa:01:00:00:00");
  EXPECT_EQ(getMacAddress(),
            (std::map<std::string, std::string>{{"zorair0", "3C:58:C2:9D:41:7E"},
                                                {"zordock0", "54:E1:AD:3B:10:C9"},
                                                {"zorwired0", "54:E1:AD:3B:10:C7"}}))
      << "without the address that the driver made up";
  const auto designated = ports().network.designatedInterfaces();
  EXPECT_EQ(designated.first, "zorwired0");
  EXPECT_EQ(designated.second, "zorair0");
  EXPECT_EQ(designated.third, "zordock0") << "built-in ones first";
}

TEST_F(MockedMachine, ABareServerHasNoneOfTheRest) {
  add("P: /devices/pci0000:00/virtio0/net/zoreth0\nE: SUBSYSTEM=net\nA: type=1\n"
      "A: address=52:54:00:6b:3c:58\nL: device=../../../virtio0\n\n");
  EXPECT_EQ(getUSBDevices(), ZORValue::array());
  EXPECT_EQ(getPowerInfo(), std::nullopt);
  EXPECT_EQ(getBluetoothDeviceName(), std::nullopt);
  EXPECT_EQ(getBluetoothAddress(), std::nullopt);
  EXPECT_EQ(getProductName(), std::nullopt);
  EXPECT_EQ(getWiFiInfo(), std::nullopt);
  EXPECT_TRUE(getHardwareUDID().has_value()) << "needs no firmware tables";
  EXPECT_EQ(ports().network.designatedInterfaces().first, "zoreth0");
  EXPECT_EQ(getMacAddress()->size(), 1U);
}

TEST_F(MockedMachine, SixtyUSBDevicesAreAllListedInOrder) {
  std::string description;
  for (int port = 10; port < 70; ++port) {
    description += "P: /devices/usb1/1-" + std::to_string(port) +
                   "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nA: serial=S" + std::to_string(port) +
                   "\n\n";
  }
  add(description);
  const ZORValue devices = getUSBDevices();
  ASSERT_EQ(devices.size(), 60U);
  EXPECT_EQ(devices[0]["usbSerialText"], "S10");
  EXPECT_EQ(devices[59]["usbSerialText"], "S69");
}

TEST_F(MockedMachine, AHostReadsAnyAttributeOfTheFirstDeviceOfAClass) {
  add(kLaptop);
  EXPECT_EQ(getPropertyInservice("online", "power_supply"), "1");
  EXPECT_EQ(getPropertyInservice("../AC0/online", "power_supply"), std::nullopt);
  EXPECT_EQ(getPropertyInservice("online", "absent"), std::nullopt);
  umockdev_testbed_remove_device(testbed(),
                                 "/sys/devices/LNXSYSTM:00/ACPI0003:00/power_supply/AC0");
  EXPECT_EQ(getPropertyInservice("online", "power_supply"), std::nullopt);
  umockdev_testbed_remove_device(testbed(),
                                 "/sys/devices/LNXSYSTM:00/PNP0C0A:00/power_supply/BAT0");
  EXPECT_EQ((*getPowerInfo())["powerSourceName"], "BAT1");
}

}  // namespace
}  // namespace zor
