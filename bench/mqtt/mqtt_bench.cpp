// Messages per second from orv.action.Mqtt's Execute to a subscriber on a
// local mosquitto broker, at QoS 0 and 1, at once and through the outbox;
// against bare publishing with the same client library in the same run, one
// message at a time, each waited for as the action waits for it (written at
// QoS 0, acknowledged at QoS 1), as mosquitto_pub does; and, for scale,
// pipelined bare publishing that waits only at the end of each burst.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "orv/action/action.hpp"
#include "orv/action/loader.hpp"
#include "orv/action/registry.hpp"
#include "orv/meta/data/event.hpp"
#include "orv/object/primitive.hpp"
#include "orv/outbox/outbox.hpp"
#include "orv/outbox/process.hpp"

namespace {

using orv::meta::data::Event;
namespace fs = std::filesystem;

constexpr int kBurst = 1000;

int FreePort() {
  int const fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (::bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    throw std::runtime_error("no free port");
  }
  ::close(fd);
  return ntohs(address.sin_port);
}

// A mosquitto broker on a free loopback port, for the whole run.
class Broker {
 public:
  Broker() : directory_(MakeDirectory()), port_(FreePort()) {
    passwd const* const user = getpwuid(geteuid());
    std::ofstream(directory_ / "mosquitto.conf")
        << "user " << (user != nullptr ? user->pw_name : "root") << "\nlog_dest none\n"
        << "max_queued_messages 0\nlistener " << port_ << " 127.0.0.1\nallow_anonymous true\n";
    std::string const config = (directory_ / "mosquitto.conf").string();
    pid_ = fork();
    if (pid_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      int const null = open("/dev/null", O_WRONLY);
      dup2(null, 2);
      execl("/usr/sbin/mosquitto", "mosquitto", "-c", config.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
  }
  ~Broker() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
    fs::remove_all(directory_);
  }
  int Port() const { return port_; }

 private:
  static fs::path MakeDirectory() {
    std::string pattern = (fs::temp_directory_path() / "orv-mqtt-bench-XXXXXX").string();
    return ::mkdtemp(pattern.data());
  }
  fs::path directory_;
  int port_;
  pid_t pid_ = -1;
};

Broker& TheBroker() {
  static Broker broker;
  return broker;
}

// A libmosquitto client: the subscriber counting what arrives, or the bare
// publisher.
class Client {
 public:
  explicit Client(char const* filter = nullptr) {
    mosquitto_lib_init();
    handle_ = mosquitto_new(nullptr, true, this);
    mosquitto_int_option(handle_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_connect_v5_callback_set(handle_, &Client::OnConnect);
    mosquitto_subscribe_v5_callback_set(handle_, &Client::OnSubscribe);
    mosquitto_message_v5_callback_set(handle_, &Client::OnMessage);
    mosquitto_publish_v5_callback_set(handle_, &Client::OnPublish);
    filter_ = filter != nullptr ? filter : "";
    if (mosquitto_connect(handle_, "127.0.0.1", TheBroker().Port(), 60) != MOSQ_ERR_SUCCESS) {
      throw std::runtime_error("cannot connect to the broker");
    }
    mosquitto_loop_start(handle_);
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return ready_; });
  }
  Client(Client const&) = delete;
  Client& operator=(Client const&) = delete;
  ~Client() {
    mosquitto_disconnect(handle_);
    mosquitto_loop_stop(handle_, false);
    mosquitto_destroy(handle_);
  }

  std::uint64_t Received() const { return received_.load(); }
  void AwaitReceived(std::uint64_t count) const {
    while (received_.load() < count) {
      std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
  }

  // Publishes and returns its message id.
  int Publish(std::string const& payload, int qos) {
    int mid = 0;
    mosquitto_publish_v5(handle_, &mid, "bench/bare", static_cast<int>(payload.size()), payload.data(), qos, false,
                         nullptr);
    return mid;
  }
  // Waits until `count` publishes in all were written (QoS 0) or acknowledged.
  void AwaitPublished(std::uint64_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return published_ >= count; });
  }
  std::uint64_t Published() {
    std::lock_guard const lock(mutex_);
    return published_;
  }

 private:
  static void OnConnect(mosquitto* handle, void* self, int, int, mosquitto_property const*) {
    auto& client = *static_cast<Client*>(self);
    if (client.filter_.empty()) {
      client.Ready();
    } else {
      mosquitto_subscribe_v5(handle, nullptr, client.filter_.c_str(), 1, 0, nullptr);
    }
  }
  static void OnSubscribe(mosquitto*, void* self, int, int, int const*, mosquitto_property const*) {
    static_cast<Client*>(self)->Ready();
  }
  static void OnMessage(mosquitto*, void* self, mosquitto_message const*, mosquitto_property const*) {
    ++static_cast<Client*>(self)->received_;
  }
  static void OnPublish(mosquitto*, void* self, int, int, mosquitto_property const*) {
    auto& client = *static_cast<Client*>(self);
    std::lock_guard const lock(client.mutex_);
    ++client.published_;
    client.changed_.notify_all();
  }
  void Ready() {
    std::lock_guard const lock(mutex_);
    ready_ = true;
    changed_.notify_all();
  }

  mosquitto* handle_ = nullptr;
  std::string filter_;
  std::atomic<std::uint64_t> received_{0};
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ready_ = false;
  std::uint64_t published_ = 0;
};

void Set(std::shared_ptr<orv::action::Action> const& action, std::string const& name,
         orv::object::Object const& value) {
  auto const map = orv::action::registry::Get().GetMap();
  for (auto const& schema : map->at(action->GetTypeNameId()).GetSchemas()) {
    if (schema.GetProperty()->GetName() == name) {
      schema.Instantiate(action, orv::property::context::Direction::FromOwner)->Set(value);
      return;
    }
  }
  throw std::invalid_argument("no property " + name);
}

std::shared_ptr<orv::action::Action> MakeMqttAction(int qos) {
  static orv::action::plugin::Loader const loader(true);
  auto action = orv::action::Action::Make(orv::hash::MurmurThree32("orv.action.Mqtt"));
  if (!action) {
    throw std::runtime_error("the orv.action.Mqtt plug-in did not load");
  }
  Set(action, "name", orv::object::Primitive<std::string>("bench"));
  Set(action, "host", orv::object::Primitive<std::string>("127.0.0.1"));
  Set(action, "port", orv::object::Primitive<std::int64_t>(TheBroker().Port()));
  Set(action, "topic", orv::object::Primitive<std::string>("bench/{{the_event.type.string}}"));
  Set(action, "payload",
      orv::object::Primitive<std::string>(R"({"event":"{{the_event.name}}","type":"{{the_event.type.string}}"})"));
  Set(action, "qos", orv::object::Primitive<std::int64_t>(qos));
  return action;
}

std::shared_ptr<Event const> MakeEvent() {
  return std::make_shared<Event const>("door 1", "motion", "category",
                                       orv::meta::data::TimePoint(std::chrono::seconds(1700000000)),
                                       orv::meta::data::Objects{});
}

// The payload the action renders from MakeEvent, for the bare publisher.
std::string const kPayload = R"({"event":"door 1","type":"motion"})";

// Execute without an outbox: each call publishes and waits, on the calling
// thread. Bursts of 1000, each timed until the subscriber has them all.
void BM_ActionExecute(benchmark::State& state) {
  Client subscriber("bench/#");
  auto const action = MakeMqttAction(static_cast<int>(state.range(0)));
  auto const& executing = static_cast<orv::action::Action const&>(*action);
  auto const event = MakeEvent();
  for (auto _ : state) {
    auto const target = subscriber.Received() + kBurst;
    for (int i = 0; i < kBurst; ++i) {
      executing.Execute(event);
    }
    subscriber.AwaitReceived(target);
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(BM_ActionExecute)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// Execute with the persistent outbox installed: Execute hands over, the
// outbox's thread publishes. Timed until the subscriber has the burst.
void BM_ActionThroughOutbox(benchmark::State& state) {
  std::string pattern = (fs::temp_directory_path() / "orv-mqtt-outbox-bench-XXXXXX").string();
  fs::path const directory = ::mkdtemp(pattern.data());
  Client subscriber("bench/#");
  auto const action = MakeMqttAction(static_cast<int>(state.range(0)));
  {
    auto const outbox = std::make_shared<orv::outbox::Outbox>(orv::outbox::Settings{.path = directory / "outbox.db"});
    orv::outbox::Install(outbox);
    auto const& executing = static_cast<orv::action::Action const&>(*action);
    auto const event = MakeEvent();
    for (auto _ : state) {
      auto const target = subscriber.Received() + kBurst;
      for (int i = 0; i < kBurst; ++i) {
        executing.Execute(event);
      }
      subscriber.AwaitReceived(target);
    }
    orv::outbox::Install(nullptr);
    outbox->Shutdown();
  }
  fs::remove_all(directory);
  state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(BM_ActionThroughOutbox)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// Bare libmosquitto as mosquitto_pub publishes: one message, then wait until
// it is written (QoS 0) or acknowledged (QoS 1), then the next.
void BM_BarePublishEachWaited(benchmark::State& state) {
  Client subscriber("bench/#");
  Client publisher;
  int const qos = static_cast<int>(state.range(0));
  for (auto _ : state) {
    auto const target = subscriber.Received() + kBurst;
    for (int i = 0; i < kBurst; ++i) {
      auto const done = publisher.Published() + 1;
      publisher.Publish(kPayload, qos);
      publisher.AwaitPublished(done);
    }
    subscriber.AwaitReceived(target);
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(BM_BarePublishEachWaited)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// Bare libmosquitto with up to 20 messages in flight (the library's default),
// waiting only for the end of each burst: the most the broker takes.
void BM_BarePublishPipelined(benchmark::State& state) {
  Client subscriber("bench/#");
  Client publisher;
  int const qos = static_cast<int>(state.range(0));
  for (auto _ : state) {
    auto const target = subscriber.Received() + kBurst;
    auto const done = publisher.Published() + kBurst;
    for (int i = 0; i < kBurst; ++i) {
      publisher.Publish(kPayload, qos);
    }
    publisher.AwaitPublished(done);
    subscriber.AwaitReceived(target);
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(BM_BarePublishPipelined)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// Bursts of 100 of the action's Execute (no outbox) and of bare publishes,
// each waited for, alternated in one loop so that a shared machine's load
// falls on both alike; each burst timed until the subscriber has it. Reports
// both rates and their ratio (bare time over Execute time).
void BM_ExecuteAgainstBare(benchmark::State& state) {
  using Clock = std::chrono::steady_clock;
  constexpr int kAlternate = 100;
  int const qos = static_cast<int>(state.range(0));
  Client subscriber("bench/#");
  Client publisher;
  auto const action = MakeMqttAction(qos);
  auto const& executing = static_cast<orv::action::Action const&>(*action);
  auto const event = MakeEvent();
  Clock::duration execute{};
  Clock::duration bare{};
  for (auto _ : state) {
    auto const start = Clock::now();
    auto target = subscriber.Received() + kAlternate;
    for (int i = 0; i < kAlternate; ++i) {
      executing.Execute(event);
    }
    subscriber.AwaitReceived(target);
    auto const afterExecute = Clock::now();
    target = subscriber.Received() + kAlternate;
    for (int i = 0; i < kAlternate; ++i) {
      auto const done = publisher.Published() + 1;
      publisher.Publish(kPayload, qos);
      publisher.AwaitPublished(done);
    }
    subscriber.AwaitReceived(target);
    auto const end = Clock::now();
    execute += afterExecute - start;
    bare += end - afterExecute;
  }
  auto const seconds = [](Clock::duration d) { return std::chrono::duration<double>(d).count(); };
  auto const messages = static_cast<double>(state.iterations()) * kAlternate;
  state.counters["execute_per_s"] = messages / seconds(execute);
  state.counters["bare_per_s"] = messages / seconds(bare);
  state.counters["ratio"] = seconds(bare) / seconds(execute);
}
BENCHMARK(BM_ExecuteAgainstBare)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3);

}  // namespace
