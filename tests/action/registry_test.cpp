#include "orv/action/registry.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <latch>
#include <stdexcept>
#include <thread>
#include <vector>

#include "orv/action/action.hpp"
#include "probe.hpp"

namespace orv::action {
namespace {

using namespace std::chrono_literals;
using test::Probe;

std::vector<property::Schema> NoSchemas() { return {}; }

registry::Info MakeInfo(char const* typeName, registry::Info::Make make) {
  hash::MurmurThree32 const id(typeName);
  return registry::Info(id, typeName, std::move(make), &NoSchemas);
}

std::shared_ptr<Action> MakeProbe(char const* typeName) { return MakeShared<Probe>(hash::MurmurThree32(typeName)); }

TEST(Registry, GetReturnsOneRegistryForTheProcess) { EXPECT_EQ(&registry::Get(), &registry::Get()); }

TEST(Registry, AnUnknownIdMakesNothingAndHasNoName) {
  hash::MurmurThree32 const unknown("orv.test.registry.NeverRegistered");
  EXPECT_EQ(Action::Make(unknown), nullptr);
  EXPECT_EQ(Action::TypeName(unknown), nullptr);
}

TEST(Registry, MakesAndNamesARegisteredType) {
  static constexpr char const* kName = "orv.test.registry.Made";
  ASSERT_TRUE(registry::Get().Add(MakeInfo(kName, [] { return MakeProbe(kName); })));

  auto const action = Action::Make(hash::MurmurThree32(kName));
  ASSERT_NE(action, nullptr);
  EXPECT_EQ(action->GetTypeNameId(), hash::MurmurThree32(kName));
  // The registered text itself, not a copy.
  EXPECT_EQ(Action::TypeName(hash::MurmurThree32(kName)), kName);
  EXPECT_EQ(action->GetTypeName(), kName);
  // Every call makes a new action.
  auto const another = Action::Make(hash::MurmurThree32(kName));
  EXPECT_NE(another, action);
  EXPECT_NE(another->GetId(), action->GetId());
}

TEST(Registry, TheFirstRegistrationOfATypeStays) {
  static constexpr char const* kName = "orv.test.registry.Twice";
  static constexpr char const* kOtherText = "orv.test.registry.Twice (second)";
  int firstMakes = 0;
  int secondMakes = 0;
  ASSERT_TRUE(registry::Get().Add(MakeInfo(kName, [&] {
    ++firstMakes;
    return MakeProbe(kName);
  })));
  EXPECT_FALSE(registry::Get().Add(registry::Info(
      hash::MurmurThree32(kName), kOtherText,
      [&] {
        ++secondMakes;
        return MakeProbe(kName);
      },
      &NoSchemas)));
  EXPECT_NE(Action::Make(hash::MurmurThree32(kName)), nullptr);
  EXPECT_EQ(firstMakes, 1);
  EXPECT_EQ(secondMakes, 0);
  EXPECT_EQ(Action::TypeName(hash::MurmurThree32(kName)), kName);
}

TEST(Registry, AnEmptyMakeFunctionThrowsAndReleasesTheLock) {
  static constexpr char const* kName = "orv.test.registry.Empty";
  ASSERT_TRUE(registry::Get().Add(MakeInfo(kName, nullptr)));
  EXPECT_THROW(Action::Make(hash::MurmurThree32(kName)), std::bad_function_call);
  // A held lock would deadlock here.
  EXPECT_EQ(Action::TypeName(hash::MurmurThree32(kName)), kName);
}

TEST(Registry, ExceptionsOfAMakeFunctionPassThroughAfterTheLockIsReleased) {
  static constexpr char const* kName = "orv.test.registry.Throwing";
  ASSERT_TRUE(registry::Get().Add(
      MakeInfo(kName, []() -> std::shared_ptr<Action> { throw std::runtime_error("cannot make it"); })));
  try {
    Action::Make(hash::MurmurThree32(kName));
    FAIL() << "no exception";
  } catch (std::runtime_error const& error) {
    EXPECT_STREQ(error.what(), "cannot make it");
  }
  EXPECT_EQ(Action::TypeName(hash::MurmurThree32(kName)), kName);
}

TEST(Registry, AMakeFunctionMayReturnAnEmptyPointer) {
  static constexpr char const* kName = "orv.test.registry.Nothing";
  ASSERT_TRUE(registry::Get().Add(MakeInfo(kName, [] { return std::shared_ptr<Action>(); })));
  EXPECT_EQ(Action::Make(hash::MurmurThree32(kName)), nullptr);
}

TEST(Registry, MakesOnTwoThreadsNeverOverlap) {
  static constexpr char const* kName = "orv.test.registry.Serialised";
  using Clock = std::chrono::steady_clock;
  struct Interval {
    Clock::time_point entry;
    Clock::time_point exit;
  };
  std::atomic<int> inside{0};
  std::atomic<int> overlaps{0};
  std::mutex intervalsMutex;
  std::vector<Interval> intervals;
  ASSERT_TRUE(registry::Get().Add(MakeInfo(kName, [&] {
    Interval interval{Clock::now(), {}};
    if (inside.fetch_add(1) != 0) {
      ++overlaps;
    }
    std::this_thread::sleep_for(50ms);
    inside.fetch_sub(1);
    interval.exit = Clock::now();
    std::lock_guard lock(intervalsMutex);
    intervals.push_back(interval);
    return MakeProbe(kName);
  })));

  std::latch start(2);
  std::shared_ptr<Action> made[2];
  std::vector<std::thread> threads;
  for (auto& result : made) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      result = Action::Make(hash::MurmurThree32(kName));
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }

  EXPECT_NE(made[0], nullptr);
  EXPECT_NE(made[1], nullptr);
  EXPECT_EQ(overlaps, 0);
  ASSERT_EQ(intervals.size(), 2U);
  std::sort(intervals.begin(), intervals.end(), [](auto const& a, auto const& b) { return a.entry < b.entry; });
  EXPECT_LE(intervals[0].exit, intervals[1].entry);
}

TEST(Info, HoldsItsFourFields) {
  static constexpr char const* kName = "orv.test.registry.Fields";
  int makes = 0;
  int binds = 0;
  registry::Info const info(
      hash::MurmurThree32(kName), kName,
      [&] {
        ++makes;
        return MakeProbe(kName);
      },
      [&] {
        auto binder = [&](std::shared_ptr<property::Property>, std::shared_ptr<void>, property::context::Direction) {
          ++binds;
        };
        return std::vector<property::Schema>{property::Schema(nullptr, binder), property::Schema(nullptr, binder)};
      });
  EXPECT_EQ(info.GetTypeNameId(), hash::MurmurThree32(kName));
  EXPECT_EQ(info.GetTypeName(), kName);
  auto const action = info.GetMake()();
  EXPECT_EQ(makes, 1);
  EXPECT_EQ(action->GetTypeNameId(), hash::MurmurThree32(kName));
  auto const schemas = info.GetSchemas();
  ASSERT_EQ(schemas.size(), 2U);
  schemas[1].Bind(nullptr, nullptr, property::context::Direction::FromOwner);
  EXPECT_EQ(binds, 1);
  static_assert(noexcept(info.GetSchemas()));
}

TEST(InfoDeathTest, GetSchemasTerminatesWithoutASchemasFunction) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  registry::Info const info(
      hash::MurmurThree32("orv.test.registry.NoSchemas"), "orv.test.registry.NoSchemas",
      [] { return std::shared_ptr<Action>(); }, nullptr);
  EXPECT_DEATH(info.GetSchemas(), "bad_function_call");
}

TEST(InfoDeathTest, GetSchemasTerminatesWhenTheSchemasFunctionThrows) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  registry::Info const info(
      hash::MurmurThree32("orv.test.registry.BadSchemas"), "orv.test.registry.BadSchemas",
      [] { return std::shared_ptr<Action>(); },
      []() -> std::vector<property::Schema> { throw std::runtime_error("no schemas today"); });
  EXPECT_DEATH(info.GetSchemas(), "no schemas today");
}

}  // namespace
}  // namespace orv::action
