#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "literals/literals.h"
#include "tests/fakes/fake_ports.h"
#include "udid/_OpenUDID.h"

namespace zor {
namespace {

// Empties the process cache, as a new process would find it. What the call keeps goes into a
// machine of its own.
void startANewProcess() {
  const testing::FakeMachine elsewhere;
  _OpenUDID::_dfp_setOptOut(false);
}

class SharedIdentifier : public ::testing::Test {
 protected:
  SharedIdentifier() { startANewProcess(); }

  std::string value() { return _OpenUDID::_dfp_valueWithError(&error); }
  std::string valueInNewProcess() {
    startANewProcess();
    return value();
  }

  // Null when there is none.
  ZORValue local() {
    return ZORValue::orNull(machine.defaults.objectForKey(literals::kSharedIdentifierKey.str()));
  }

  static std::string slotName(unsigned index) {
    return literals::kSharedSlotPrefix.str() + std::to_string(index);
  }
  void fillSlot(unsigned index, const Data& data) {
    machine.pasteboards.boards[slotName(index)][literals::kSharedPasteboardType.str()] = data;
  }
  void fillSlot(unsigned index, const ZORValue::Dictionary& dictionary) {
    fillSlot(index, systemPorts().archive.archivedData(dictionary).value());
  }
  void fillSlots(const std::vector<std::string>& identifiers) {
    for (unsigned index = 0; index < identifiers.size(); ++index) {
      fillSlot(index, {{literals::kSharedIdentifierKey.str(), identifiers[index]}});
    }
  }
  ZORValue slot(unsigned index) {
    const auto pasteboard = machine.pasteboards.pasteboardWithName(slotName(index));
    return _OpenUDID::_getDictFromPasteboard(pasteboard.get());
  }
  void keepLocally(const ZORValue::Dictionary& dictionary) {
    machine.defaults.setObject(literals::kSharedIdentifierKey.str(), dictionary);
  }
  // Another application of the user: same slots, its own defaults.
  std::string valueInAnotherApplication() {
    machine.defaults.removeObject(literals::kSharedIdentifierKey.str());
    return valueInNewProcess();
  }

  testing::FakeMachine machine;
  ZORError error;
};

TEST_F(SharedIdentifier, AFreshIdentifierIsTheDigestOfAUuidAndARandomNumber) {
  machine.random.next({0x0BADF00D});
  // printf '00000000-0000-4000-8000-000000000001' | md5sum, then the number.
  EXPECT_EQ(_OpenUDID::_generateFreshOpenUDID(), "459c7999f440244b163b38e375fededd0badf00d");
}

TEST_F(SharedIdentifier, TheFirstRunKeepsIdentifierApplicationDateAndSlot) {
  machine.clock.set(1700000000);
  const std::string identifier = value();
  EXPECT_EQ(identifier.size(), 40U);
  EXPECT_EQ(error.code, 0);
  ASSERT_TRUE(local().isDictionary());
  EXPECT_EQ(local()[literals::kSharedIdentifierKey.view()], identifier);
  EXPECT_EQ(local()[literals::kSharedApplicationKey.view()].text()->size(), 36U);
  EXPECT_EQ(local()[literals::kSharedTimestampKey.view()], ZORDate{1700000000});
  EXPECT_EQ(local()[literals::kSharedSlotKey.view()], literals::kSharedSlotPrefix.str() + "0");
  EXPECT_FALSE(machine.defaults.objectForKey(literals::kSharedApplicationKey.str()))
      << "The application identifier is never stored at the top level.";
}

TEST_F(SharedIdentifier, ASecondCallReadsNeitherSlotsNorDefaults) {
  const std::string identifier = value();
  const int looks = machine.pasteboards.looks;
  machine.defaults.removeObject(literals::kSharedIdentifierKey.str());
  EXPECT_EQ(value(), identifier);
  EXPECT_EQ(error.code, 0);
  EXPECT_EQ(error.localizedDescription, literals::kSharedCachedText.str());
  EXPECT_EQ(machine.pasteboards.looks, looks);
}

TEST_F(SharedIdentifier, OptingOutGivesThePlaceholderUntilOptingIn) {
  const std::string identifier = value();
  machine.defaults.setObject(literals::kSharedApplicationKey.str(), "APP");
  machine.clock.set(1700000000);
  _OpenUDID::_dfp_setOptOut(true);
  EXPECT_EQ(value(), literals::kSharedOptedOutPlaceholder.str());
  EXPECT_EQ(error.code, 1);
  EXPECT_EQ(error.localizedDescription, "Application APP opted out at 2023-11-14 22:13:20 +0000");
  _OpenUDID::_dfp_setOptOut(false);
  EXPECT_EQ(value(), identifier);
  EXPECT_EQ(error.code, 0);
}

TEST_F(SharedIdentifier, ADefaultsEntryThatIsNotADictionaryIsReplaced) {
  machine.defaults.setObject(literals::kSharedIdentifierKey.str(), "junk");
  const std::string identifier = value();
  ASSERT_TRUE(local().isDictionary());
  EXPECT_EQ(local()[literals::kSharedIdentifierKey.view()], identifier);
}

TEST_F(SharedIdentifier, AnotherApplicationAdoptsItAndClaimsTheNextSlot) {
  const std::string identifier = value();
  EXPECT_EQ(slot(0), local()) << "The slot holds the whole local dictionary.";
  EXPECT_EQ(valueInAnotherApplication(), identifier);
  EXPECT_EQ(local()[literals::kSharedSlotKey.view()], slotName(1));
  EXPECT_EQ(valueInNewProcess(), identifier);
  EXPECT_EQ(slot(2).size(), 0U) << "Who has a slot claims no other one.";
}

TEST_F(SharedIdentifier, TheValueOfMostSlotsIsAdoptedAndOfTiedOnesTheLast) {
  const struct {
    std::vector<std::string> slots;
    std::string adopted;
  } rows[] = {{{"A", "A", "B"}, "A"}, {{"B", "A", "A"}, "A"}, {{"A", "B"}, "B"}, {{"B", "A"}, "B"}};
  for (const auto& row : rows) {
    machine.pasteboards.boards.clear();
    fillSlots(row.slots);
    EXPECT_EQ(valueInAnotherApplication(), row.adopted);
    EXPECT_EQ(error.code, 0);
  }
}

TEST_F(SharedIdentifier, ALocalIdentifierIsKeptAgainstMostSlotsWithAConflict) {
  fillSlots({"A", "A", "B"});
  keepLocally({{literals::kSharedIdentifierKey.str(), "B"}});
  EXPECT_EQ(value(), "B");
  EXPECT_EQ(error.code, 2);
  EXPECT_EQ(slot(3)[literals::kSharedIdentifierKey.view()], "B");
}

TEST_F(SharedIdentifier, HostileSlotsReadAsEmptyAndMayBeClaimed) {
  const std::string key = literals::kSharedIdentifierKey.str();
  fillSlot(0, Data{0x00, 0xff, 'j', 'u', 'n', 'k'});
  fillSlot(1, {{key, 5.0}});
  fillSlot(2, {{key, ZORDate{1}}});
  fillSlot(3, {{key, ZORValue::dictionary({{key, "A"}})}});
  fillSlot(4, {{key, ""}});
  fillSlot(5, {{key, std::string(10000, 'x')}});
  fillSlot(6, {{key, "A"}, {"filler", std::string(100000, 'x')}});
  EXPECT_EQ(value().size(), 40U);
  EXPECT_EQ(slot(0)[key], value());
}

TEST_F(SharedIdentifier, ASlotIsClaimedAgainOnlyWhenItsOwnIsTheFirstFreeOne) {
  const std::string identifier = value();
  fillSlot(1, {{literals::kSharedIdentifierKey.str(), identifier}});
  machine.pasteboards.boards.erase(slotName(0));
  EXPECT_EQ(valueInNewProcess(), identifier);
  EXPECT_EQ(slot(0), local());

  keepLocally({{literals::kSharedIdentifierKey.str(), identifier},
               {literals::kSharedSlotKey.str(), slotName(1)}});
  machine.pasteboards.boards.clear();
  EXPECT_EQ(valueInNewProcess(), identifier);
  EXPECT_EQ(slot(0).size(), 0U);
  EXPECT_EQ(slot(1).size(), 0U);
}

// An application that finds its own slot is opted out only if the slot says so too; and a claimed
// slot is not rewritten.
TEST_F(SharedIdentifier, AnApplicationThatKnowsItsSlotIsOptedOutOnlyIfTheSlotIs) {
  machine.defaults.setObject(literals::kSharedApplicationKey.str(), "APP");
  const std::string identifier = value();
  _OpenUDID::_dfp_setOptOut(true);
  EXPECT_EQ(value(), identifier);
  EXPECT_EQ(error.code, 0);
  EXPECT_TRUE(local()[literals::kSharedOptOutKey.view()].isDate());

  fillSlot(0, local().entries());
  EXPECT_EQ(valueInNewProcess(), literals::kSharedOptedOutPlaceholder.str());
  _OpenUDID::_dfp_setOptOut(false);
  EXPECT_EQ(value(), identifier) << "A slot alone opts nobody out.";
}

TEST_F(SharedIdentifier, NothingIsClaimedOrKeptWhileASlotCannotBeRead) {
  machine.pasteboards.unreadable[slotName(0)] = EIO;
  const std::string provisional = value();
  EXPECT_EQ(value(), provisional);
  EXPECT_EQ(local(), nullptr);
  EXPECT_TRUE(machine.pasteboards.boards.empty());
  EXPECT_FALSE(_OpenUDID::statusOfKeeping().isSuccess());
  machine.pasteboards.unreadable.clear();
  fillSlots({"A"});
  EXPECT_EQ(value(), "A");
  EXPECT_EQ(slot(1)[literals::kSharedIdentifierKey.view()], "A");

  machine.defaults.unreadable = true;
  EXPECT_EQ(valueInNewProcess(), "A");
  machine.defaults.unreadable = false;
  EXPECT_EQ(slot(2).size(), 0U) << "The defaults may hold the slot's name.";
}

TEST_F(SharedIdentifier, SlotsOfAnotherUserAreSkipped) {
  machine.pasteboards.unreadable[slotName(0)] = EACCES;
  machine.pasteboards.unwritable[slotName(1)] = EACCES;
  const std::string identifier = value();
  EXPECT_EQ(local()[literals::kSharedSlotKey.view()], slotName(2));
  EXPECT_EQ(valueInAnotherApplication(), identifier);
  EXPECT_EQ(local()[literals::kSharedSlotKey.view()], slotName(3));
}

TEST_F(SharedIdentifier, WithEverySlotTakenTheIdentifierIsFoundWithoutOne) {
  fillSlots(std::vector<std::string>(kSharedIdentifierSlots, "A"));
  EXPECT_EQ(value(), "A");
  EXPECT_EQ(local()[literals::kSharedSlotKey.view()], nullptr);
}

TEST_F(SharedIdentifier, WithoutAnyPasteboardTheApplicationKeepsItsOwnIdentifier) {
  for (unsigned index = 0; index < kSharedIdentifierSlots; ++index) {
    machine.pasteboards.missing.push_back(slotName(index));
  }
  const std::string identifier = value();
  EXPECT_EQ(valueInNewProcess(), identifier);
}

TEST_F(SharedIdentifier, ThreadsThatAskAtOnceGetOneIdentifier) {
  std::vector<std::string> found(4);
  std::vector<std::thread> threads;
  for (std::string& each : found) {
    threads.emplace_back([&each] { each = _OpenUDID::_dfp_value(); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::set<std::string>(found.begin(), found.end()).size(), 1U);
}

}  // namespace
}  // namespace zor
