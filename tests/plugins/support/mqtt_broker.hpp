#pragma once

#include <mosquitto.h>
#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace orv::test {

// A real mosquitto broker on free 127.0.0.1 ports, with a configuration
// written into `directory`: an anonymous listener (which may not publish to
// "forbidden/#"), one that requires the user "camera" with the password
// "secret", and a TLS listener with the server certificate of
// MakeCertificates (or its self-signed one). It keeps sessions on disk, so
// that a stop and a start lose no queued message. With `bridgeTo`, it
// forwards everything published under "burst/" to the broker on that port
// (a subscriber there sees every message across restarts of this one).
// Stopped when destroyed; it dies with the test process.
class MqttBroker {
 public:
  MqttBroker(std::string directory, std::string const& certificates, bool selfSigned = false, int bridgeTo = 0);
  MqttBroker(MqttBroker const&) = delete;
  MqttBroker& operator=(MqttBroker const&) = delete;
  ~MqttBroker();

  int Port() const { return port_; }
  int PasswordPort() const { return passwordPort_; }
  int TlsPort() const { return tlsPort_; }

  // Stops the broker (SIGTERM, as a service manager does) and waits for it.
  void Stop();
  // Starts it again on the same ports; returns once it accepts connections.
  void Start();
  // The broker's log so far.
  std::string Log() const;

 private:
  std::string directory_;
  int port_ = 0;
  int passwordPort_ = 0;
  int tlsPort_ = 0;
  pid_t pid_ = -1;
};

// One message a subscriber received.
struct Received {
  std::string topic;
  std::string payload;
  int qos = 0;
  bool retain = false;
  std::string deliveryId;  // the "delivery-id" user property, or empty
};

// A libmosquitto subscriber to `filter` on 127.0.0.1:`port` (MQTT 5, QoS 1).
// With a `clientId`, its session is kept by the broker while it is away, and
// it reconnects by itself: nothing published meanwhile is lost.
class Subscriber {
 public:
  Subscriber(int port, std::string const& filter, std::string const& clientId = {});
  Subscriber(Subscriber const&) = delete;
  Subscriber& operator=(Subscriber const&) = delete;
  ~Subscriber();

  // Waits until at least `count` messages arrived in all, for at most
  // `timeout`; returns them all.
  std::vector<Received> Await(std::size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(30));
  // What arrived so far.
  std::vector<Received> Messages();

 private:
  static void OnMessage(mosquitto*, void* self, mosquitto_message const* message, mosquitto_property const* properties);
  static void OnConnect(mosquitto*, void* self, int reason, int flags, mosquitto_property const* properties);
  static void OnSubscribe(mosquitto*, void* self, int mid, int count, int const* granted,
                          mosquitto_property const* properties);

  mosquitto* handle_ = nullptr;
  std::string filter_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool subscribed_ = false;
  std::vector<Received> received_;
};

}  // namespace orv::test
