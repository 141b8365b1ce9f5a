#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "outbox_test_support.hpp"

namespace orv::outbox::test {

// A database in a fresh directory, a fake clock, jitter 1 (each delay its full
// ceiling) unless a test sets another, and the reports received.
class OutboxTest : public ::testing::Test {
 protected:
  Settings MakeSettings() {
    Settings settings;
    settings.path = directory_ / "outbox.db";
    settings.clock = clock_.AsClock();
    settings.jitter = [] { return 1.0; };
    settings.report = reports_.AsHandler();
    return settings;
  }

  std::unique_ptr<Outbox> Open() { return std::make_unique<Outbox>(MakeSettings()); }

  RecordingSender MakeSender(RecordingSender::Decide decide = {}) {
    return RecordingSender(clock_.AsClock(), std::move(decide));
  }

  // Advances the fake clock to `to` and makes the outbox look at it.
  void AdvanceTo(Outbox& outbox, TimePoint to) {
    clock_.Set(to);
    outbox.Wake();
  }

  TemporaryDirectory directory_;
  FakeClock clock_;
  ReportLog reports_;
};

}  // namespace orv::outbox::test
