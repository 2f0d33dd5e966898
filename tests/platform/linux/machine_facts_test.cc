// Facts out of bytes and texts that the kernel and the system show.
#include <gtest/gtest.h>

#include <map>

#include "platform/linux/bluetooth_management.h"
#include "platform/linux/device_reader.h"
#include "platform/linux/machine_uuid.h"
#include "platform/linux/network_texts.h"
#include "platform/linux/power_source_values.h"
#include "platform/linux/system_texts.h"

namespace zor {
namespace {

TEST(MachineUuid, FollowsFromTheMachineId) {
  const auto id = machineIdFromText("3d1219c7c4c5404aaa1f6d2a48adfda4\n");
  ASSERT_TRUE(id.has_value());
  // python3 -c 'import hmac; print(hmac.new(bytes.fromhex("3d1219c7c4c5404aaa1f6d2a48adfda4"),
  //   b"com.tidewater.dfp.hardware", "sha256").hexdigest()[:32])', then version 4 and its variant.
  EXPECT_EQ(machineUuid(*id), "C0E849F2-7D0D-437F-B49C-DF348BB80365");
  for (const char* none :
       {"", "uninitialized\n", "3d1219c7c4c5404aaa1f6d2a48adfda",
        "3d1219c7c4c5404aaa1f6d2a48adfdag", "00000000000000000000000000000000"}) {
    EXPECT_FALSE(machineIdFromText(none).has_value()) << none;
  }
}

TEST(MachineUuid, OfTheFirmwareIsUpperCaseAndNoFiller) {
  EXPECT_EQ(firmwareUuid("4c4c4544-0042-3510-8052-b4c04f4e5332\n"),
            "4C4C4544-0042-3510-8052-B4C04F4E5332");
  for (const char* none :
       {"", "Not Settable", "4c4c4544-0042-3510-8052-b4c04f4e533",
        "00000000-0000-0000-0000-000000000000", "ffffffff-ffff-ffff-ffff-ffffffffffff"}) {
    EXPECT_EQ(firmwareUuid(none), std::nullopt) << none;
  }
}

Data controllerAnswer(const std::string& name) {
  Data message{0x01, 0x00, 0x01, 0x00, 0x1B, 0x01, 0x04, 0x00, 0x00};  // Complete, of number 1.
  for (const int byte : {0x5E, 0x4D, 0x3C, 0x2B, 0x1A, 0x00}) {
    message.push_back(static_cast<std::uint8_t>(byte));
  }
  message.resize(9 + 20);
  message.insert(message.end(), name.begin(), name.end());
  message.resize(9 + 280);
  return message;
}

TEST(BluetoothController, NameAndAddressComeFromItsOwnAnswerOnly) {
  Data answer = controllerAnswer("Aero of Zoë");
  const auto info = controllerInfoFromMessage(answer, 1);
  ASSERT_TRUE(info.has_value());
  EXPECT_EQ(info->name, "Aero of Zoë");
  EXPECT_EQ(info->address, "00:1A:2B:3C:4D:5E");
  EXPECT_FALSE(controllerInfoFromMessage(answer, 0).has_value()) << "another controller";
  answer.resize(100);
  EXPECT_FALSE(controllerInfoFromMessage(answer, 1).has_value()) << "cut";

  answer = controllerAnswer("");
  std::fill_n(answer.begin() + 9, 6, std::uint8_t{0});
  EXPECT_EQ(controllerInfoFromMessage(answer, 1)->name, std::nullopt);
  EXPECT_EQ(controllerInfoFromMessage(answer, 1)->address, std::nullopt);
  answer[8] = 0x11;
  EXPECT_FALSE(controllerInfoFromMessage(answer, 1).has_value()) << "refused";
}

TEST(SystemName, IsUnquotedAndFallsBackToNameAndVersion) {
  EXPECT_EQ(systemNameFromRelease("NAME=\"Debian\"\nPRETTY_NAME=\"Debian \\\"12\\\" \\$5\"\n"),
            "Debian \"12\" $5");
  EXPECT_EQ(systemNameFromRelease("PRETTY_NAME='It'\\''s one'\n"), "It's one");
  EXPECT_EQ(systemNameFromRelease("NAME=Void\nVERSION='1 \\n'"), "Void 1 \\n");
  EXPECT_EQ(systemNameFromRelease("#PRETTY_NAME=x\nPRETTY_NAMES=x\nPRETTY_NAME=\n"), std::nullopt);
}

TEST(ProcessorModel, IsTheFirstOfTheList) {
  EXPECT_EQ(processorModelFromList("processor\t: 0\nmodel\t\t: 85\nmodel name\t: A (R): B \n\n"
                                   "processor\t: 1\nmodel name\t: C\n"),
            "A (R): B");
  EXPECT_EQ(processorModelFromList("processor\t: 0\nmodel name\t: "), std::nullopt);
}

TEST(DesignatedInterfaces, GoByIndexAndLeaveModemsOut) {
  const auto designated = designatedAmong({{"enp9", 9, false, true},
                                           {"wlp2", 4, true, false},
                                           {"wwan0", 1, false, false},
                                           {"enp3", 2, false, true},
                                           {"enp5", 3, false, true},
                                           {"wlp1", 8, true, false}});
  EXPECT_EQ(designated.first, "enp3");
  EXPECT_EQ(designated.second, "wlp2");
  EXPECT_EQ(designated.third, "enp5");
}

TEST(DefaultRoute, OfTheSmallestMetricThatIsUpCounts) {
  const std::string header = "Iface\tDestination\tGateway\tFlags\tRefCnt\tUse\tMetric\tMask\n";
  const std::string routes = header +
                             "a0\t00000000\t0101A8C0\t0002\t0\t0\t1\t00000000\t0\t0\t0\n"
                             "b0\t00000000\t0101A8C0\t0003\t0\t0\t600\t00000000\t0\t0\t0\n"
                             "c0\t00000000\t0101A8C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n"
                             "d0\t0001A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n";
  const std::string zeros(32, '0');
  const std::string sixth = zeros + " 00 " + zeros + " 00 " + zeros +
                            " ffffffff 00000001 00000000 00200200 lo\n" + zeros + " 00 " + zeros +
                            " 00 " + zeros + " 00000400 00000001 00000000 00000003 e0\n";
  EXPECT_EQ(defaultRouteInterface(routes, sixth), "c0");
  EXPECT_EQ(defaultRouteInterface(header, sixth), "e0");
  EXPECT_EQ(defaultRouteInterface("", ""), std::nullopt);
}

TEST(ResolverConfiguration, NamesAServerOnlyOnALineOfItsOwn) {
  EXPECT_TRUE(namesServer("# none\nsearch lan\nnameserver\t127.0.0.1"));
  EXPECT_TRUE(namesServer("nameserver bogus\nnameserver fe80::1%eth0#late\n"));
  EXPECT_FALSE(namesServer("#nameserver 10.0.0.1\nnameserver\nsearch nameserver x\n"));
  EXPECT_FALSE(namesServer(" nameserver 9.9.9.9\nnameserver bogus\nnameserver 10.0.0.256"));
}

TEST(SysfsLinks, LeadDownFromTheRoot) {
  EXPECT_EQ(linkedPath("/sys/class/net", "../../devices/pci0000:00/net/eth0"),
            "/sys/devices/pci0000:00/net/eth0");
  EXPECT_EQ(linkedPath("/sys/bus/usb/devices", "../../../devices/usb1/1-1"),
            "/sys/devices/usb1/1-1");
  EXPECT_EQ(eventVariable("MAJOR=1\nDEVTYPES=x\nDEVTYPE=usb_device\n", "DEVTYPE"), "usb_device");
}

SupplyAttribute supply(std::map<std::string, std::string> values) {
  return [values = std::move(values)](const std::string& key) -> std::optional<std::string> {
    const auto found = values.find(key);
    if (found == values.end()) return std::nullopt;
    return found->second;
  };
}

TEST(PowerSources, AreBatteriesAndSuppliesOfTheMachineItself) {
  EXPECT_TRUE(isMachinePowerSource(supply({{"type", "Battery"}})));
  EXPECT_TRUE(isMachinePowerSource(supply({{"type", "UPS"}, {"scope", "System"}})));
  EXPECT_FALSE(isMachinePowerSource(supply({{"type", "Battery"}, {"scope", "Device"}})));
  EXPECT_FALSE(isMachinePowerSource(supply({{"type", "Battery"}, {"present", "0"}})));
  EXPECT_FALSE(isMachinePowerSource(supply({{"type", "Mains"}})));
  EXPECT_FALSE(isMachinePowerSource(supply({})));
}

TEST(PowerSources, ShowTheirChargeInPercentAlsoWhereTheKernelShowsAmounts) {
  const auto percentOf = [](std::map<std::string, std::string> values) {
    return powerSourceFromSupply("BAT0", supply(std::move(values)))->charge;
  };
  EXPECT_EQ(percentOf({{"capacity", "73"}, {"energy_now", "1"}, {"energy_full", "100"}}), 73);
  EXPECT_EQ(percentOf({{"energy_now", "41500000"}, {"energy_full", "57000000"}}), 72);
  EXPECT_EQ(percentOf({{"energy_full", "5"}, {"charge_now", "7"}, {"charge_full", "5"}}), 100);

  const auto stateOnly = powerSourceFromSupply("BAT0", supply({{"status", "Full"}}));
  EXPECT_EQ(stateOnly->charge, std::nullopt);
  EXPECT_EQ(stateOnly->state, "Full");
  EXPECT_FALSE(powerSourceFromSupply("BAT0", supply({{"type", "Battery"}})).has_value());
}

}  // namespace
}  // namespace zor
