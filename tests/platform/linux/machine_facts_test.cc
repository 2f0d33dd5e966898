// Facts out of bytes and texts that the kernel and the system show.
#include <gtest/gtest.h>

#include <map>

#include "platform/linux/bluetooth_management.h"
#include "platform/linux/device_reader.h"
#include "platform/linux/interface_facts.h"
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
  EXPECT_EQ(machineUuid({reinterpret_cast<const char*>(id->data()), id->size()}),
            "C0E849F2-7D0D-437F-B49C-DF348BB80365");
  for (const char* none :
       {"", "uninitialized\n", "3d1219c7c4c5404aaa1f6d2a48adfda",
        "3d1219c7c4c5404aaa1f6d2a48adfdag", "00000000000000000000000000000000"}) {
    EXPECT_FALSE(machineIdFromText(none).has_value()) << none;
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

TEST(ProcessorModel, IsTheFirstOfTheListInTheFieldOfItsFamily) {
  EXPECT_EQ(processorModelFromList("processor\t: 0\nmodel\t\t: 85\nmodel name\t: A (R): B \n\n"
                                   "processor\t: 1\nmodel name\t: C\n"),
            "A (R): B");
  EXPECT_EQ(processorModelFromList("processor\t: 0\nmodel name\t: "), std::nullopt);
  EXPECT_EQ(processorModelFromList("processor\t: 0\nCPU implementer\t: 0x41\nCPU part\t: 0xd08\n"),
            "CPU implementer 0x41 part 0xd08");
  EXPECT_EQ(processorModelFromList("hart\t: 1\nisa\t: rv64imafdc\nuarch\t: sifive,u74-mc\n"),
            "sifive,u74-mc");
  EXPECT_EQ(processorModelFromList("processor\t: 0\ncpu\t\t: POWER9\n"), "POWER9");
}

TEST(BuiltInMemory, IsTheNumberOfBlocksTimesTheirSize) {
  EXPECT_EQ(memoryOfBlocks("8000000\n", 2 + 192), std::int64_t{24} << 30);
  for (const char* unreadable : {"", "x", "8000000000000000"}) {
    EXPECT_EQ(memoryOfBlocks(unreadable, 2 + 192), 0) << unreadable;
  }
  EXPECT_EQ(memoryOfBlocks("8000000", 1), 0) << "a file system that does not count links";
}

TEST(InterfaceFacts, GoByTheDevicesPlaceBuiltInOnesFirst) {
  const auto interface = [](const std::string& name, const std::string& path,
                            std::uint8_t address) {
    BackedInterface backed;
    backed.name = name;
    backed.devicePath = path;
    backed.wired = true;
    backed.permanentAddress = Data{address};
    return backed;
  };
  BackedInterface dock = interface("eth0", "/sys/devices/a", 1);
  dock.removable = true;
  BackedInterface random = interface("eth5", "/sys/devices/b", 2);
  random.permanentAddress.reset();
  BackedInterface air = interface("wlan0", "/sys/devices/c", 3);
  air.wired = false;
  air.wireless = true;
  BackedInterface modem = interface("wwan0", "/sys/devices/a", 4);
  modem.wired = false;
  BackedInterface secondPort = interface("a", "/sys/devices/d", 5);
  secondPort.devicePort = "1";
  BackedInterface firstPort = interface("b", "/sys/devices/d", 6);
  firstPort.devicePort = "0";

  const auto facts = factsOfInterfaces({dock, secondPort, random, air, modem, firstPort});
  EXPECT_EQ(facts.designated.first, "b");
  EXPECT_EQ(facts.designated.second, "wlan0");
  EXPECT_EQ(facts.designated.third, "a");
  ASSERT_EQ(facts.addresses->size(), 5U) << "all but the one that the driver made up";
  EXPECT_EQ(facts.addresses->back().interfaceName, "eth0") << "the one in the dock";
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

TEST(ResolverConfiguration, IsReadAsTheCLibraryReadsIt) {
  const struct {
    std::string configuration;
    std::vector<std::string> servers;
  } rows[] = {
      {"# none\nsearch lan\nnameserver\t10.0.0.1", {"10.0.0.1"}},
      {"nameserver 1.2.3.4 junk\nnameserver 1.2.3\n", {"1.2.3.4", "1.2.0.3"}},
      {"nameserver 1.2.3.4\r\nnameserver 5.6.7.8;x\nnameserver 9.9.9.9#x\n", {}},
      {"#nameserver 10.0.0.1\n nameserver 9.9.9.9\nnameserver\nnameservers 1.1.1.1\n", {}},
      {"nameserver bogus\nnameserver 10.0.0.256\nnameserver 0.0.0.0\n", {}},
      {"nameserver ::1%lo\nnameserver bogus\nnameserver 1.1.1.1\nnameserver 2.2.2.2\n"
       "nameserver 3.3.3.3\n",
       {"1.1.1.1", "2.2.2.2"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(serversInConfiguration(row.configuration), row.servers) << row.configuration;
  }
  EXPECT_TRUE(namesLocalStub({"127.0.0.53"}));
  EXPECT_FALSE(namesLocalStub({"127.0.0.1"}));
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
