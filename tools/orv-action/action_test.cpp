#include "action_test.hpp"

#include <chrono>
#include <exception>
#include <memory>
#include <mutex>

#include "orv/action/exception.hpp"
#include "orv/log/sink.hpp"
#include "orv/meta/data/event.hpp"

namespace orv::tool {

std::shared_ptr<meta::data::Event const> MakeTestEvent(std::string const& text) {
  return std::make_shared<meta::data::Event const>(text, "test", "test_category", std::chrono::system_clock::now(),
                                                   meta::data::Objects{});
}

std::string AuditOfTest(action::Action const& action, std::string const& text) {
  return action.GetAuditMessage(MakeTestEvent(text));
}

TestOutcome FireTest(action::Action const& action, std::string const& text) {
  static std::mutex oneAtATime;
  std::lock_guard const lock(oneAtATime);

  TestOutcome outcome;
  // What the action logs about a failure is reported beside its outcome.
  std::mutex detailMutex;
  log::Sink const previous = log::SetSink([&outcome, &detailMutex](log::Record const& record) {
    std::lock_guard const detailLock(detailMutex);
    outcome.detail.append(outcome.detail.empty() ? "" : "; ").append(record.text);
  });
  {
    struct RestoreSink {
      log::Sink const& sink;
      ~RestoreSink() { log::SetSink(sink); }
    } const restore{previous};
    try {
      action::Action::Result const result = action.Test(text);
      outcome.hasResult = result != nullptr;
    } catch (action::Exception const& failure) {
      outcome.kind = TestOutcome::Kind::ActionFailure;
      outcome.code = static_cast<std::uint32_t>(failure.GetCode());
      outcome.key = failure.GetLocalizedString();
    } catch (std::exception const& failure) {
      outcome.kind = TestOutcome::Kind::OtherFailure;
      outcome.failure = failure.what();
    } catch (...) {
      outcome.kind = TestOutcome::Kind::UnknownFailure;
    }
  }
  return outcome;
}

}  // namespace orv::tool
