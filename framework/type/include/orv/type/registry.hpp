#pragma once

#include <functional>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "orv/hash/murmur_three_32.hpp"
#include "orv/type/export.hpp"

namespace orv::type {
namespace registry {

// A locked view of a registry's map: while it lives, the registry's mutex is
// held. Movable; the moved-from view releases nothing. Keep it short-lived,
// and never ask the same registry for another view while holding one (the
// mutex is not recursive).
template <class Map>
class ORV_TYPE_API Lock {
 public:
  // A view of `map` whose destruction calls `release` once.
  Lock(Map* map, std::function<void()> release) noexcept : map_(map), release_(std::move(release)) {}
  Lock(Lock&& other) noexcept
      : map_(std::exchange(other.map_, nullptr)), release_(std::exchange(other.release_, nullptr)) {}
  Lock& operator=(Lock&& other) noexcept {
    if (this != &other) {
      Release();
      map_ = std::exchange(other.map_, nullptr);
      release_ = std::exchange(other.release_, nullptr);
    }
    return *this;
  }
  Lock(Lock const&) = delete;
  Lock& operator=(Lock const&) = delete;
  ~Lock() { Release(); }

  Map& operator*() const noexcept { return *map_; }
  Map* operator->() const noexcept { return map_; }

 private:
  void Release() noexcept {
    if (auto release = std::exchange(release_, nullptr)) {
      release();
    }
  }

  Map* map_;
  std::function<void()> release_;
};

}  // namespace registry

// A process-wide table of types keyed by type-name id, guarded by one
// non-recursive mutex. `T` names its own key through `GetTypeNameId()`.
//
// Every look-up goes through GetMap or GetRefused, which hold the mutex for
// the life of the returned view; Add takes the same mutex, so a reader never
// sees a half-inserted entry.
template <class T>
class ORV_TYPE_API Registry {
 public:
  using Map = std::unordered_map<hash::MurmurThree32, T>;

  Registry() = default;
  Registry(Registry const&) = delete;
  Registry& operator=(Registry const&) = delete;
  virtual ~Registry() = default;

  // Inserts `entry` under its type-name id and returns true, or returns false
  // when the id is already registered: the first registration of a type
  // stays, and `entry` is kept among the refused ones (GetRefused), so that a
  // second type with the same name, or with another name of the same id, is
  // not lost silently.
  bool Add(T entry) {
    std::lock_guard lock(mutex_);
    auto const id = entry.GetTypeNameId();
    if (map_.contains(id)) {
      refused_.push_back(std::move(entry));
      return false;
    }
    map_.emplace(id, std::move(entry));
    return true;
  }

  // Locks the mutex and returns a view of the map that unlocks it when destroyed.
  registry::Lock<Map const> GetMap() const {
    mutex_.lock();
    return registry::Lock<Map const>(&map_, [this] { mutex_.unlock(); });
  }

  // Locks the mutex and returns a view of the entries that Add refused, in
  // the order it refused them; the entry holding the id of each is in the
  // map. Unlocks when destroyed; never hold it together with a view of the map.
  registry::Lock<std::vector<T> const> GetRefused() const {
    mutex_.lock();
    return registry::Lock<std::vector<T> const>(&refused_, [this] { mutex_.unlock(); });
  }

 private:
  Map map_;
  mutable std::mutex mutex_;
  std::vector<T> refused_;
};

}  // namespace orv::type
