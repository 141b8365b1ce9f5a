#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "mqtt/mqtt_message.hpp"
#include "network/failure.hpp"

namespace orv::plugins::mqtt {

// How an action reaches its broker.
struct ConnectionSettings {
  std::string host;
  int port = 1883;
  std::string clientId;
  std::string username;  // empty: none sent
  std::string password;
  bool tls = false;
  bool verifyTls = true;            // the broker's certificate chain and name
  std::string caFile;               // PEM file of trusted CAs; empty: the system's
  int keepaliveS = 60;              // between two packets, pinged when idle
  std::int64_t timeoutMs = 10'000;  // to connect, and for each acknowledgement
};

// One persistent connection to an MQTT broker (MQTT 5, libmosquitto), made on
// the first Publish and made again by the first Publish after it broke. A
// broken or timed-out connection is dropped whole, with whatever the client
// library still held for it: a message the broker did not acknowledge counts
// as not sent, and whoever sent it sends it again on the next connection.
//
// Thread-safe: publishes from several threads take turns.
class Connection {
 public:
  explicit Connection(ConnectionSettings settings);
  Connection(Connection const&) = delete;
  Connection& operator=(Connection const&) = delete;
  // Closes the connection (a DISCONNECT when it is up).
  ~Connection();

  // Publishes `publications` in order, each one waited for: at QoS 0 until
  // it is written, at QoS 1 and 2 until the broker acknowledged it (PUBACK,
  // PUBCOMP). Connects first when there is no connection, and publishes
  // the announcements of SetAnnouncements before anything else on a new
  // connection. nullopt when all went; otherwise the first failure, with
  // the codes of the request family: 11 the host name did not resolve, 12
  // no connection or acknowledgement within the time-out, 13 a refused or
  // broken connection, refused credentials or a rejected publication, 14 a
  // failed TLS handshake, 15 a broker certificate that does not verify.
  // A non-empty `deliveryId` goes with each publication as the MQTT 5 user
  // property "delivery-id", so that subscribers can drop repeats.
  std::optional<network::Failure> Publish(std::vector<Publication> const& publications,
                                          std::string const& deliveryId = {});

  // What is published on every new connection before anything else (the
  // retained discovery configurations). A change is published with the next
  // Publish on the connection that is up.
  void SetAnnouncements(std::vector<Publication> announcements);

  // The settings this connection was made with.
  ConnectionSettings const& GetSettings() const noexcept { return settings_; }

  // The library's session: one client handle and the thread of its loop.
  struct Session;

 private:
  std::optional<network::Failure> Connect();
  std::optional<network::Failure> PublishOne(Publication const& publication, std::string const& deliveryId);
  void Drop();

  ConnectionSettings const settings_;
  std::mutex mutex_;  // one Publish at a time
  std::unique_ptr<Session> session_;
  std::mutex announcementsMutex_;
  std::vector<Publication> announcements_;
  bool announced_ = false;  // on the session that is up
};

// Whether `topic` is one a message may be published to: not empty, at most
// 65535 bytes of UTF-8 without control characters (as libmosquitto checks
// it), and free of the wildcards + and #.
bool IsPublishableTopic(std::string const& topic);

// Whether `text` may go into an MQTT string (a client id, a user name): at
// most 65535 bytes of UTF-8 without control characters.
bool IsMqttText(std::string const& text);

}  // namespace orv::plugins::mqtt
