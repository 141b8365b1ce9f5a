#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::meta::data {

// Time stamps of events and records: the system clock at nanosecond resolution.
using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

// The objects an event carries (zones, tracked objects, counters, ...).
using Objects = std::vector<std::shared_ptr<orv::object::Object const>>;

// The first of `objects` whose type id is exactly T's (no base types), as a T;
// null when there is none.
template <class T>
T const* FindFirst(Objects const& objects) {
  for (auto const& object : objects) {
    if (object->GetTypeNameId() == orv::object::TypeIdOf<T>) {
      return &object->template As<T const>();
    }
  }
  return nullptr;
}

// An analytics event: what a rule publishes when it fires. A new event has id
// 0 and its end equal to its start.
class ORV_META_DATA_API Event : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kEvent;

  Event(std::string name, std::string type, std::string category, TimePoint start, Objects objects);
  ~Event() override;

  std::uint32_t GetId() const noexcept { return id_; }
  std::string const& GetName() const noexcept { return name_; }
  std::string const& GetType() const noexcept { return type_; }
  std::string const& GetCategory() const noexcept { return category_; }
  TimePoint GetStart() const noexcept { return start_; }
  TimePoint GetEnd() const noexcept { return end_; }
  // The attached objects, in the event's order.
  Objects const& GetObjects() const noexcept { return objects_; }

  void SetId(std::uint32_t id) noexcept { id_ = id; }
  void SetEnd(TimePoint end) noexcept { end_ = end; }

 protected:
  // For event kinds of their own: the same record under another type id.
  Event(hash::MurmurThree32 typeNameId, std::string name, std::string type, std::string category, TimePoint start,
        Objects objects);

 private:
  std::uint32_t id_ = 0;
  std::string name_;
  std::string type_;
  std::string category_;
  TimePoint start_;
  TimePoint end_;
  Objects objects_;
};

}  // namespace orv::meta::data
