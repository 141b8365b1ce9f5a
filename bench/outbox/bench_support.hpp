#pragma once

#include <stdlib.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "orv/outbox/outbox.hpp"
#include "orv/templating/template.hpp"

namespace orv::outbox::bench {

// A directory of its own under the system's temporary directory, removed with its contents.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    auto pattern = (std::filesystem::temp_directory_path() / "orv-outbox-bench-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ScratchDirectory(ScratchDirectory const&) = delete;
  ScratchDirectory& operator=(ScratchDirectory const&) = delete;
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::filesystem::path Database() const { return path_ / "outbox.db"; }

 private:
  std::filesystem::path path_;
};

// What a webhook action does on the publishing thread: render its request
// from the event's template data.
class WebhookRenderer {
 public:
  WebhookRenderer()
      : request_(
            "POST /hooks/device HTTP/1.1\r\nHost: receiver.example\r\nContent-Type: application/json\r\n\r\n"
            "{\"event\":\"{{name}}\",\"type\":\"{{type}}\",\"id\":{{id}},\"start\":\"{{start}}\","
            "\"zone\":\"{{zone}}\",\"objects\":[{{#objects}}{\"id\":{{id}},\"class\":\"{{class}}\","
            "\"confidence\":{{confidence}}}{{^last}},{{/last}}{{/objects}}]}",
            templating::Escape::None) {
    mstch::array objects;
    for (int i = 0; i < 3; ++i) {
      objects.push_back(mstch::map{{"id", i + 10},
                                   {"class", std::string(i == 0 ? "person" : "car")},
                                   {"confidence", 0.5 + 0.1 * i},
                                   {"last", i == 2}});
    }
    data_ = mstch::map{{"name", std::string("Person at the entrance")},
                       {"type", std::string("motion")},
                       {"id", 17},
                       {"start", std::string("2024-05-06T07:08:09.123456789+02:00")},
                       {"zone", std::string("Entrance")},
                       {"objects", objects}};
  }

  std::string Render() const { return request_.Render(data_); }

  Submission Submit(std::string key) const {
    return {std::move(key), 17, "https://receiver.example/hooks/device", Render()};
  }

 private:
  templating::Template request_;
  mstch::map data_;
};

// A receiver that takes `answer` per message, as a network send waits, and
// counts what it received.
class SlowReceiver {
 public:
  explicit SlowReceiver(std::chrono::microseconds answer) : shared_(std::make_shared<Shared>()) {
    shared_->answer = answer;
  }
  ~SlowReceiver() { Stop(); }

  Sender AsSender() const {
    return [shared = shared_](Message const&) { return shared->Receive(); };
  }
  Outcome Receive() const { return shared_->Receive(); }

  // Blocks until `count` messages have arrived in all.
  void AwaitCount(std::uint64_t count) const {
    std::unique_lock lock(shared_->mutex);
    shared_->changed.wait(lock, [&] { return shared_->received >= count; });
  }
  // Makes answers that are being waited for come at once.
  void Stop() const {
    std::lock_guard const lock(shared_->mutex);
    shared_->stopped = true;
    shared_->changed.notify_all();
  }

 private:
  struct Shared {
    std::mutex mutex;
    std::condition_variable changed;
    std::chrono::microseconds answer{0};
    std::uint64_t received = 0;
    bool stopped = false;

    Outcome Receive() {
      if (answer > std::chrono::microseconds::zero()) {
        if (answer >= std::chrono::milliseconds(10)) {
          std::unique_lock lock(mutex);
          changed.wait_for(lock, answer, [this] { return stopped; });
        } else {
          std::this_thread::sleep_for(answer);
        }
      }
      std::lock_guard const lock(mutex);
      ++received;
      changed.notify_all();
      return Outcome::Sent();
    }
  };
  std::shared_ptr<Shared> shared_;
};

}  // namespace orv::outbox::bench
