#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "orv/action/action.hpp"
#include "orv/action/exception.hpp"
#include "orv/property/schema.hpp"

namespace orv::test {

// The action type of the test plug-in: records the name of every event it
// executes and returns that name as its result (a std::string). An event
// named "fail:<code>" makes it fail with that action failure code.
class Echo : public action::Action {
 public:
  static constexpr char const* kTypeName = "orv.test.plugin.Echo";

  static std::vector<property::Schema> GetSchemas();

  Echo() : Action(hash::MurmurThree32(kTypeName), {}) {}

  Result Execute(std::shared_ptr<meta::data::Event const> event) const override {
    std::lock_guard lock(mutex_);
    names_.push_back(event->GetName());
    if (event->GetName().starts_with("fail:")) {
      throw action::Exception(static_cast<action::exception::Code>(std::stoul(event->GetName().substr(5))));
    }
    return std::make_shared<std::string const>(event->GetName());
  }

  // The names of the events executed so far, in order.
  std::vector<std::string> GetExecutedNames() const {
    std::lock_guard lock(mutex_);
    return names_;
  }

 private:
  mutable std::mutex mutex_;
  mutable std::vector<std::string> names_;
};

}  // namespace orv::test
