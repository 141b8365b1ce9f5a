#include <boost/format.hpp>
#include <chrono>
#include <cstdint>
#include <limits>
#include <ostream>
#include <sstream>

#include "orv/action/action.hpp"
#include "orv/meta/data/channel.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/object/write_name.hpp"

namespace orv::action {
namespace {

// How many Test calls the thread is inside (an action's test may test another).
thread_local unsigned testDepth = 0;

// Counts the thread in for its life, also when Execute throws.
class TestScope {
 public:
  TestScope() noexcept { ++testDepth; }
  TestScope(TestScope const&) = delete;
  TestScope& operator=(TestScope const&) = delete;
  ~TestScope() { --testDepth; }
};

}  // namespace

Action::Result Action::Test(std::string text) const {
  auto const now = std::chrono::time_point_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now());
  auto event =
      std::make_shared<meta::data::Event>(std::move(text), "test", "test_category", now, meta::data::Objects{});
  TestScope const scope;
  return Execute(std::move(event));
}

bool Action::IsTesting() noexcept { return testDepth != 0; }

std::string Action::GetAuditMessage(std::shared_ptr<meta::data::Event const> event) const {
  auto const& objects = event->GetObjects();
  auto const* rule = meta::data::FindFirst<meta::data::Observable>(objects);
  // All bits set: no rule is known.
  std::uint32_t const ruleId = rule != nullptr ? rule->GetId() : std::numeric_limits<std::uint32_t>::max();
  if (auto const* channel = meta::data::FindFirst<meta::data::Channel>(objects)) {
    return (boost::format("channel_id:%1%:action_id:%2%:rule_id:%3%") % channel->GetId() % GetId() % ruleId).str();
  }
  return (boost::format("action_id:%1%:rule_id:%2%") % GetId() % ruleId).str();
}

char const* Action::GetTypeName() const { return TypeName(GetTypeNameId()); }

type::BadCast Action::BadCastError(char const* target) const {
  // A null text fails the stream, which then drops the rest: the cut-short
  // message is intended.
  std::ostringstream message;
  object::WriteName(message << "Failed to cast the action from '", GetTypeName()) << "' to a '";
  object::WriteName(message, target) << '\'';
  return type::BadCast(message.str());
}

std::ostream& operator<<(std::ostream& stream, Action const& action) {
  // An unregistered type fails the stream after the key; the rest is dropped.
  return object::WriteName(stream << "{\"typename\":", action.GetTypeName()) << ",\"id\":" << action.GetId() << '}';
}

}  // namespace orv::action
