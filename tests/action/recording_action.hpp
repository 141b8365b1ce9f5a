#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "orv/action/action.hpp"

namespace orv::action::testing {

// An action that records the events it executes and returns the event's name
// as its result.
class RecordingAction : public Action {
 public:
  static constexpr char kTypeName[] = "orv.test.RecordingAction";

  explicit RecordingAction(Observables observables = {})
      : Action(hash::MurmurThree32(kTypeName), std::move(observables)) {}

  Result Execute(std::shared_ptr<meta::data::Event const> event) const override {
    std::lock_guard lock(mutex_);
    names_.push_back(event->GetName());
    return std::make_shared<std::string const>(event->GetName());
  }

  std::vector<std::string> GetExecuted() const {
    std::lock_guard lock(mutex_);
    return names_;
  }

 private:
  mutable std::mutex mutex_;
  mutable std::vector<std::string> names_;
};

inline std::shared_ptr<meta::data::Event> MakeEvent(std::string name) {
  return std::make_shared<meta::data::Event>(std::move(name), "motion", "category", meta::data::TimePoint(),
                                             meta::data::Objects{});
}

}  // namespace orv::action::testing
