#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "orv/action/action.hpp"

namespace orv::test {

// A concrete action for the tests: records every event it executes and
// returns a fresh result each time.
class Probe : public action::Action {
 public:
  static constexpr char const* kTypeName = "orv.test.action.Probe";

  explicit Probe(hash::MurmurThree32 typeNameId = hash::MurmurThree32(kTypeName)) : Action(typeNameId, {}) {}

  Result Execute(std::shared_ptr<meta::data::Event const> event) const override {
    std::lock_guard lock(mutex_);
    events_.push_back(event);
    auto result = std::make_shared<int const>(static_cast<int>(events_.size()));
    results_.push_back(result);
    return result;
  }

  std::vector<std::shared_ptr<meta::data::Event const>> GetEvents() const {
    std::lock_guard lock(mutex_);
    return events_;
  }
  std::vector<Result> GetResults() const {
    std::lock_guard lock(mutex_);
    return results_;
  }

 private:
  mutable std::mutex mutex_;
  mutable std::vector<std::shared_ptr<meta::data::Event const>> events_;
  mutable std::vector<Result> results_;
};

}  // namespace orv::test
