#include "orv/type/registry.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace orv::type {
namespace {

using namespace std::chrono_literals;

struct Entry {
  hash::MurmurThree32 id;
  std::string text;
  hash::MurmurThree32 const& GetTypeNameId() const { return id; }
};

hash::MurmurThree32 const kFirst("orv.test.registry.First");
hash::MurmurThree32 const kSecond("orv.test.registry.Second");

TEST(Registry, StartsEmpty) {
  Registry<Entry> registry;
  EXPECT_TRUE(registry.GetMap()->empty());
}

TEST(Registry, AddKeysEntriesByTheirTypeNameId) {
  Registry<Entry> registry;
  EXPECT_TRUE(registry.Add(Entry{kFirst, "first"}));
  EXPECT_TRUE(registry.Add(Entry{kSecond, "second"}));
  auto const map = registry.GetMap();
  ASSERT_EQ(map->size(), 2U);
  EXPECT_EQ(map->at(kFirst).text, "first");
  EXPECT_EQ(map->at(kSecond).text, "second");
}

TEST(Registry, TheFirstEntryForAnIdStays) {
  Registry<Entry> registry;
  EXPECT_TRUE(registry.Add(Entry{kFirst, "first"}));
  EXPECT_FALSE(registry.Add(Entry{kFirst, "replacement"}));
  auto const map = registry.GetMap();
  ASSERT_EQ(map->size(), 1U);
  EXPECT_EQ(map->at(kFirst).text, "first");
}

TEST(Registry, KeepsTheRefusedEntriesInTheOrderTheyCame) {
  Registry<Entry> registry;
  EXPECT_TRUE(registry.GetRefused()->empty());
  EXPECT_TRUE(registry.Add(Entry{kFirst, "first"}));
  EXPECT_FALSE(registry.Add(Entry{kFirst, "replacement"}));
  EXPECT_TRUE(registry.Add(Entry{kSecond, "second"}));
  EXPECT_FALSE(registry.Add(Entry{kSecond, "another second"}));
  EXPECT_FALSE(registry.Add(Entry{kFirst, "another first"}));
  auto const refused = registry.GetRefused();
  ASSERT_EQ(refused->size(), 3U);
  EXPECT_EQ((*refused)[0].id, kFirst);
  EXPECT_EQ((*refused)[0].text, "replacement");
  EXPECT_EQ((*refused)[1].id, kSecond);
  EXPECT_EQ((*refused)[1].text, "another second");
  EXPECT_EQ((*refused)[2].id, kFirst);
  EXPECT_EQ((*refused)[2].text, "another first");
}

TEST(Registry, MapHasUnitMaximumLoadFactor) {
  Registry<Entry> registry;
  EXPECT_EQ(registry.GetMap()->max_load_factor(), 1.0F);
}

// Starts a thread that adds an entry and reports when Add has returned.
class Writer {
 public:
  explicit Writer(Registry<Entry>& registry)
      : thread_([this, &registry] {
          registry.Add(Entry{kSecond, "second"});
          done_ = true;
        }) {}
  ~Writer() { thread_.join(); }
  bool IsDone() const { return done_; }

 private:
  std::atomic<bool> done_{false};
  std::thread thread_;
};

TEST(Registry, AViewHoldsTheMutexUntilItIsDestroyed) {
  Registry<Entry> registry;
  std::optional<registry::Lock<Registry<Entry>::Map const>> view(registry.GetMap());
  Writer const writer(registry);
  std::this_thread::sleep_for(100ms);
  EXPECT_FALSE(writer.IsDone());
  EXPECT_TRUE((*view)->empty());
  view.reset();
  while (!writer.IsDone()) {
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_EQ(registry.GetMap()->size(), 1U);
}

TEST(Registry, AMovedFromViewReleasesNothing) {
  Registry<Entry> registry;
  std::optional<registry::Lock<Registry<Entry>::Map const>> moved(registry.GetMap());
  std::optional<registry::Lock<Registry<Entry>::Map const>> view(std::move(*moved));
  Writer const writer(registry);
  moved.reset();
  std::this_thread::sleep_for(100ms);
  EXPECT_FALSE(writer.IsDone());
  view.reset();
  while (!writer.IsDone()) {
    std::this_thread::sleep_for(1ms);
  }
}

TEST(Registry, AViewOfTheRefusedEntriesHoldsTheMutexToo) {
  Registry<Entry> registry;
  std::optional<registry::Lock<std::vector<Entry> const>> view(registry.GetRefused());
  Writer const writer(registry);
  std::this_thread::sleep_for(100ms);
  EXPECT_FALSE(writer.IsDone());
  view.reset();
  while (!writer.IsDone()) {
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_EQ(registry.GetMap()->size(), 1U);
}

TEST(Lock, CallsItsReleaseFunctionOnceAndMoveAssignmentReleasesTheOldOne) {
  int const map = 0;
  int firstReleases = 0;
  int secondReleases = 0;
  {
    registry::Lock<int const> first(&map, [&] { ++firstReleases; });
    registry::Lock<int const> second(&map, [&] { ++secondReleases; });
    EXPECT_EQ(&*first, &map);
    first = std::move(second);
    EXPECT_EQ(firstReleases, 1);
    EXPECT_EQ(secondReleases, 0);
  }
  EXPECT_EQ(firstReleases, 1);
  EXPECT_EQ(secondReleases, 1);
}

}  // namespace
}  // namespace orv::type
