// Applications that share an identifier through real files.
#include <gtest/gtest.h>

#include <chrono>
#include <set>

#include "literals/literals.h"
#include "platform/linux/defaults_linux.h"
#include "platform/linux/pasteboards_linux.h"
#include "platform/lock_wait.h"
#include "tests/fakes/child_process.h"
#include "tests/fakes/fake_ports.h"
#include "tests/fakes/temporary_folder.h"
#include "udid/_OpenUDID.h"

namespace zor {
namespace {

TEST(SharedIdentifierOfProcesses, StartedAtOnceOnANewMachineIsOneWithASlotForEach) {
  testing::FakeMachine machine;
  _OpenUDID::_dfp_setOptOut(false);  // Empties the cache that the processes inherit.
  constexpr int kApplications = 12;
  LinuxPasteboards pasteboards([&] { return machine.root + "/pasteboards"; });
  const auto fileOf = [&](int application, const char* what) {
    return machine.root + "/" + std::to_string(application) + what;
  };
  const auto runApplication = [&](int application) {
    const LockWaitBudget patience{std::chrono::minutes(1)};
    LinuxDefaults defaults([&] { return fileOf(application, ".defaults"); });
    const ScopedPorts own(ports()
                              .with(defaults)
                              .with(pasteboards)
                              .with(systemPorts().clock)
                              .with(systemPorts().random));
    testing::writeText(fileOf(application, ".identifier"), _OpenUDID::_dfp_value());
    const auto kept = defaults.objectForKey(literals::kSharedIdentifierKey.str());
    testing::writeText(fileOf(application, ".slot"),
                       *(*kept)[literals::kSharedSlotKey.view()].text());
    return 0;
  };
  std::vector<std::unique_ptr<testing::ChildProcess>> processes;
  for (int application = 0; application < kApplications; ++application) {
    processes.push_back(std::make_unique<testing::ChildProcess>(
        [&, application] { return runApplication(application); }));
  }
  std::set<std::string> identifiers;
  std::set<std::string> slots;
  for (int application = 0; application < kApplications; ++application) {
    EXPECT_EQ(processes[static_cast<std::size_t>(application)]->wait(), 0);
    identifiers.insert(testing::readText(fileOf(application, ".identifier")));
    slots.insert(testing::readText(fileOf(application, ".slot")));
  }
  EXPECT_EQ(identifiers.size(), 1U);
  EXPECT_EQ(slots.size(), std::size_t{kApplications});
}

}  // namespace
}  // namespace zor
