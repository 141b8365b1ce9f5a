#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "orv/action/action.hpp"
#include "orv/meta/data/event.hpp"

namespace orv::tool {

// What firing an action once through Action::Test did.
struct TestOutcome {
  enum class Kind {
    Executed,       // Test returned
    ActionFailure,  // the action threw orv::action::Exception
    OtherFailure,   // it threw a std::exception
    UnknownFailure  // it threw something else
  };

  Kind kind = Kind::Executed;
  // Executed: whether Test returned a result.
  bool hasResult = false;
  // ActionFailure: the failure code and its localised-string key.
  std::uint32_t code = 0;
  std::string key;
  // OtherFailure: what the exception said.
  std::string failure;
  // What the action wrote to the log sink while it ran, records joined by
  // "; ". Plug-ins write secrets as "***".
  std::string detail;
};

// The event that Action::Test makes for `text`: named `text`, of type "test",
// with no objects.
std::shared_ptr<meta::data::Event const> MakeTestEvent(std::string const& text);

// The audit message of the test event named `text`, as the action writes it.
std::string AuditOfTest(action::Action const& action, std::string const& text);

// Fires `action` once with a test event named `text`, whatever the armed
// state, and collects what it logged. The log sink is process-wide, so tests
// run one at a time: a second call waits for the first.
TestOutcome FireTest(action::Action const& action, std::string const& text);

}  // namespace orv::tool
