#include "mqtt_broker.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <mqtt_protocol.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "servers.hpp"

namespace orv::test {
namespace {

bool Accepts(int port) {
  int const fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  bool const connected = connect(fd, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0;
  close(fd);
  return connected;
}

}  // namespace

MqttBroker::MqttBroker(std::string directory, std::string const& certificates, bool selfSigned, int bridgeTo)
    : directory_(std::move(directory)) {
  std::system(("rm -rf '" + directory_ + "' && mkdir -p '" + directory_ + "'").c_str());
  std::string const passwords = directory_ + "/passwords";
  if (std::system(("mosquitto_passwd -c -b '" + passwords + "' camera secret").c_str()) != 0) {
    throw std::runtime_error("cannot make the broker's password file");
  }
  std::ofstream(directory_ + "/acl") << "topic readwrite #\ntopic deny forbidden/#\n";
  port_ = RefusedPort();
  passwordPort_ = RefusedPort();
  tlsPort_ = RefusedPort();
  std::string const certificate = certificates + (selfSigned ? "/self" : "/server");
  std::ofstream config(directory_ + "/mosquitto.conf");
  // Run as root, mosquitto would become the user "mosquitto", who cannot
  // read the test's files.
  passwd const* const user = getpwuid(geteuid());
  config << "user " << (user != nullptr ? user->pw_name : "root") << "\n"
         << "per_listener_settings true\n"
         << "persistence true\npersistence_location " << directory_ << "/\n"
         << "log_dest file " << directory_ << "/broker.log\nlog_type all\n"
         << "listener " << port_ << " 127.0.0.1\nallow_anonymous true\nacl_file " << directory_ << "/acl\n"
         << "listener " << passwordPort_ << " 127.0.0.1\nallow_anonymous false\npassword_file " << passwords << "\n"
         << "listener " << tlsPort_ << " 127.0.0.1\nallow_anonymous true\n"
         << "certfile " << certificate << ".pem\nkeyfile " << certificate << ".key\n";
  if (bridgeTo != 0) {
    config << "connection forward\naddress 127.0.0.1:" << bridgeTo << "\ntopic burst/# out 1\n"
           << "cleansession false\nrestart_timeout 1\n";
  }
  config.close();
  Start();
}

MqttBroker::~MqttBroker() { Stop(); }

void MqttBroker::Start() {
  pid_t const parent = getpid();
  std::string const config = directory_ + "/mosquitto.conf";
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
      _exit(1);
    }
    // What it says before its log file is open goes beside that file.
    int const errors = open((directory_ + "/stderr").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    dup2(errors, 2);
    execl("/usr/sbin/mosquitto", "mosquitto", "-c", config.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  if (pid_ < 0) {
    throw std::runtime_error("cannot start mosquitto");
  }
  for (int i = 0; i < 400; ++i) {
    if (Accepts(port_) && Accepts(passwordPort_) && Accepts(tlsPort_)) {
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
  }
  throw std::runtime_error("mosquitto did not start: " + Log());
}

void MqttBroker::Stop() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }
}

std::string MqttBroker::Log() const {
  std::ifstream file(directory_ + "/broker.log");
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

Subscriber::Subscriber(int port, std::string const& filter, std::string const& clientId) : filter_(filter) {
  mosquitto_lib_init();
  handle_ = mosquitto_new(clientId.empty() ? nullptr : clientId.c_str(), clientId.empty(), this);
  // A kept session is a 3.1.1 one: mosquitto 2.0.11 restores a 5 session
  // after a restart without the messages queued for it meanwhile.
  mosquitto_int_option(handle_, MOSQ_OPT_PROTOCOL_VERSION, clientId.empty() ? MQTT_PROTOCOL_V5 : MQTT_PROTOCOL_V311);
  mosquitto_connect_v5_callback_set(handle_, &Subscriber::OnConnect);
  mosquitto_message_v5_callback_set(handle_, &Subscriber::OnMessage);
  mosquitto_subscribe_v5_callback_set(handle_, &Subscriber::OnSubscribe);
  mosquitto_reconnect_delay_set(handle_, 1, 1, false);
  if (mosquitto_connect(handle_, "127.0.0.1", port, 60) != MOSQ_ERR_SUCCESS) {
    throw std::runtime_error("the subscriber cannot connect");
  }
  mosquitto_loop_start(handle_);
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, std::chrono::seconds(10), [this] { return subscribed_; })) {
    throw std::runtime_error("the subscriber did not connect");
  }
}

Subscriber::~Subscriber() {
  mosquitto_disconnect(handle_);
  mosquitto_loop_stop(handle_, false);
  mosquitto_destroy(handle_);
}

void Subscriber::OnConnect(mosquitto* handle, void* self, int reason, int, mosquitto_property const*) {
  auto& subscriber = *static_cast<Subscriber*>(self);
  if (reason == 0) {
    mosquitto_subscribe_v5(handle, nullptr, subscriber.filter_.c_str(), 1, 0, nullptr);
  }
}

void Subscriber::OnSubscribe(mosquitto*, void* self, int, int, int const*, mosquitto_property const*) {
  auto& subscriber = *static_cast<Subscriber*>(self);
  std::lock_guard const lock(subscriber.mutex_);
  subscriber.subscribed_ = true;
  subscriber.changed_.notify_all();
}

void Subscriber::OnMessage(mosquitto*, void* self, mosquitto_message const* message,
                           mosquitto_property const* properties) {
  auto& subscriber = *static_cast<Subscriber*>(self);
  Received received{
      message->topic,
      std::string(static_cast<char const*>(message->payload), static_cast<std::size_t>(message->payloadlen)),
      message->qos,
      message->retain,
      {}};
  char* name = nullptr;
  char* value = nullptr;
  if (mosquitto_property_read_string_pair(properties, MQTT_PROP_USER_PROPERTY, &name, &value, false) != nullptr) {
    if (std::string(name) == "delivery-id") {
      received.deliveryId = value;
    }
    std::free(name);
    std::free(value);
  }
  std::lock_guard const lock(subscriber.mutex_);
  subscriber.received_.push_back(std::move(received));
  subscriber.changed_.notify_all();
}

std::vector<Received> Subscriber::Await(std::size_t count, std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, timeout, [&] { return received_.size() >= count; });
  return received_;
}

std::vector<Received> Subscriber::Messages() {
  std::lock_guard const lock(mutex_);
  return received_;
}

}  // namespace orv::test
