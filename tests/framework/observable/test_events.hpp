#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "orv/meta/data/event.hpp"

namespace orv::observable::testing {

inline std::shared_ptr<meta::data::Event> MakeEvent(std::string name = "event") {
  return std::make_shared<meta::data::Event>(std::move(name), "motion", "category",
                                             meta::data::TimePoint(std::chrono::seconds(1)), meta::data::Objects{});
}

// Derives from the event class but registers a type name of its own: the
// event adaptor must not pass it on.
class OtherEvent : public meta::data::Event {
 public:
  static constexpr char const* kTypeName = "orv.test.OtherEvent";
  OtherEvent()
      : Event(object::TypeIdOf<OtherEvent>, "other", "motion", "category", meta::data::TimePoint(),
              meta::data::Objects{}) {}
};

}  // namespace orv::observable::testing
