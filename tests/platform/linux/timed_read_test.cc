// Reads that do not come back in time. The limits are of the tests' own; no test waits for one that
// it does not want to pass.
#include "platform/linux/timed_read.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace zor {
namespace {

constexpr std::chrono::milliseconds kShort{1};
constexpr std::chrono::minutes kLong{1};

// A device that answers when the test says so.
class HeldDevice {
 public:
  void letGo() { _gate.set_value(); }
  void wait() { _opened.wait(); }

 private:
  std::promise<void> _gate;
  std::shared_future<void> _opened = _gate.get_future().share();
};

// Never destroyed, as the library's reads are: threads come back to them after the test.
template <typename Object, typename... Arguments>
Object& lasting(Arguments&&... arguments) {
  static auto& all = *new std::vector<std::unique_ptr<Object>>;
  return *all.emplace_back(std::make_unique<Object>(std::forward<Arguments>(arguments)...));
}

template <typename Value>
TimedRead<Value>& readOf(typename TimedRead<Value>::Reader reader, std::chrono::milliseconds limit,
                         typename TimedRead<Value>::Completion completion = {}) {
  return lasting<TimedRead<Value>>("device", std::move(reader), std::move(completion), limit);
}

// Asks until the value is as wanted, which other threads bring about.
template <typename Value, typename Wanted>
Value valueUntil(TimedRead<Value>& read, const Wanted& isWanted) {
  const auto end = std::chrono::steady_clock::now() + kLong;
  Value value = read.value();
  while (!isWanted(value) && std::chrono::steady_clock::now() < end) value = read.value();
  return value;
}

TEST(TimedRead, GivesWhatTheReaderFindsAndItsNotes) {
  auto& read = readOf<std::string>(
      [](Draft<std::string>& draft) {
        noteProbeDenied("/sys/file");
        draft.set("value");
      },
      kLong);
  const ProbeTrace trace;
  EXPECT_EQ(read.value(), "value");
  EXPECT_EQ(trace.sources(), "/sys/file");
  EXPECT_TRUE(trace.denied());
  EXPECT_FALSE(trace.late());
}

TEST(TimedRead, AReaderThatThrowsGivesWhatItHadDrafted) {
  auto& read = readOf<int>(
      [](Draft<int>& draft) {
        draft.set(1);
        throw std::bad_alloc();
      },
      kLong);
  EXPECT_EQ(read.value(), 1);
}

TEST(TimedRead, HeldUpIsTheDraftNotedAsLateAndNoSecondThreadIsSent) {
  auto& device = lasting<HeldDevice>();
  auto& runs = lasting<std::atomic<int>>(0);
  auto& read = readOf<std::string>(
      [&](Draft<std::string>& draft) {
        ++runs;
        draft.set("draft");
        device.wait();
        draft.set("whole");
      },
      kShort);
  const ProbeTrace trace;
  // Its thread may not have run yet.
  EXPECT_EQ(valueUntil(read, [](const auto& value) { return value == "draft"; }), "draft");
  EXPECT_TRUE(trace.late());
  EXPECT_EQ(read.value(), "draft");
  EXPECT_EQ(runs, 1);
  device.letGo();
  // A new run may be late as well; then what the first one found counts.
  EXPECT_EQ(valueUntil(read, [](const auto& value) { return value == "whole"; }), "whole");
}

TEST(TimedRead, WhatArrivedLateCompletesTheNextDraft) {
  auto& first = lasting<HeldDevice>();
  auto& second = lasting<HeldDevice>();
  auto& run = lasting<std::atomic<int>>(0);
  auto& read = readOf<std::string>(
      [&](Draft<std::string>& draft) {
        const int number = ++run;
        draft.set(std::to_string(number));
        (number == 1 ? first : second).wait();
      },
      kShort, [&](std::string draft, std::string arrived) { return draft + "+" + arrived; });
  EXPECT_EQ(valueUntil(read, [](const auto& value) { return value == "1"; }), "1");
  first.letGo();
  const auto end = std::chrono::steady_clock::now() + kLong;
  std::string value;
  bool late = true;
  while (late && value.find('+') == std::string::npos && std::chrono::steady_clock::now() < end) {
    const ProbeTrace trace;
    value = read.value();
    late = trace.late();
  }
  // In time: asked in the instant in which the first run ended. Then nothing is left over.
  if (late) {
    EXPECT_NE(value.find("+1"), std::string::npos);
    EXPECT_EQ(read.value().find('+'), std::string::npos) << "counts once";
  }
  second.letGo();
}

TEST(ReadsAhead, OneThreadServesAllUntilOneIsHeldUp) {
  auto& device = lasting<HeldDevice>();
  auto& runs = lasting<std::atomic<int>>(0);
  auto& before = readOf<std::thread::id>(
      [&](Draft<std::thread::id>& draft) { draft.set(std::this_thread::get_id()); }, kLong);
  auto& after = readOf<std::thread::id>(
      [&](Draft<std::thread::id>& draft) {
        ++runs;
        draft.set(std::this_thread::get_id());
      },
      kLong);
  {
    const ReadsAhead ahead({&before, &after});
    EXPECT_EQ(before.value(), after.value());
    EXPECT_NE(after.value(), std::this_thread::get_id());
    EXPECT_EQ(runs, 1) << "asked twice";
  }
  after.value();
  EXPECT_EQ(runs, 2) << "afresh outside";

  auto& held = readOf<int>([&](Draft<int>&) { device.wait(); }, kShort);
  const ReadsAhead ahead({&held, &after});
  EXPECT_EQ(held.value(), 0);
  after.value();
  EXPECT_EQ(runs, 3) << "does not wait behind the first";
  device.letGo();
}

}  // namespace
}  // namespace zor
