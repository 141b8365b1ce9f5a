#include "mqtt/connection.hpp"

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace orv::plugins::mqtt {
namespace {

using action::exception::Code;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// How long the loop waits for its socket at most: the time a closing
// connection takes to notice it should stop.
constexpr int kLoopWaitMs = 100;

void InitialiseLibrary() {
  static std::once_flag once;
  std::call_once(once, [] { mosquitto_lib_init(); });
}

bool Contains(std::string const& text, char const* part) { return text.find(part) != std::string::npos; }

}  // namespace

struct Connection::Session {
  mosquitto* handle = nullptr;
  std::string where;  // "host:port", for messages
  std::thread loop;
  std::atomic<bool> stopping{false};

  mutable std::mutex mutex;
  std::condition_variable changed;
  bool connected = false;
  std::optional<network::Failure> failure;  // set once: the session is over
  std::map<int, int> finished;              // message id → reason code
  std::string lastError;                    // the library's last error or warning

  ~Session() {
    if (handle != nullptr) {
      stopping = true;
      mosquitto_disconnect(handle);
      if (loop.joinable()) {
        loop.join();
      }
      mosquitto_destroy(handle);
    }
  }

  void Fail(network::Failure found) {
    std::lock_guard const lock(mutex);
    if (!failure) {
      failure = std::move(found);
    }
    connected = false;
    changed.notify_all();
  }

  // The failure of an ended connection, from the library's code and what it
  // logged last (OpenSSL's reason for a failed handshake).
  network::Failure Classify(int rc, int error) const {
    std::string logged;
    {
      std::lock_guard const lock(mutex);
      logged = lastError;
    }
    if (rc == MOSQ_ERR_TLS || rc == MOSQ_ERR_TLS_HANDSHAKE || Contains(logged, "OpenSSL") || Contains(logged, "SSL")) {
      if (Contains(logged, "certificate verify failed") || Contains(logged, "certificate verification")) {
        return {Code::RequestCertificateVerificationFailed,
                "the certificate of the broker " + where + " does not verify: " + logged};
      }
      return {Code::RequestTlsHandshakeFailed, "the TLS handshake with the broker " + where +
                                                   " failed: " + (logged.empty() ? "no reason given" : logged)};
    }
    if (rc == MOSQ_ERR_ERRNO) {
      if (error == ETIMEDOUT) {
        return {Code::RequestConnectionTimedOut, "connecting to the broker " + where + " timed out"};
      }
      return {Code::RequestFailed, "the connection to the broker " + where + " failed: " + std::strerror(error)};
    }
    if (rc == MOSQ_ERR_KEEPALIVE) {
      return {Code::RequestConnectionTimedOut, "the broker " + where + " stopped answering within the keep-alive"};
    }
    if (rc == MOSQ_ERR_CONN_LOST || rc == MOSQ_ERR_SUCCESS) {
      return {Code::RequestFailed, "the broker " + where + " closed the connection"};
    }
    return {Code::RequestFailed, "the connection to the broker " + where + " failed: " + mosquitto_strerror(rc)};
  }

  static Session& Of(void* userdata) { return *static_cast<Session*>(userdata); }

  static void OnConnect(mosquitto*, void* userdata, int reason, int, mosquitto_property const*) {
    Session& session = Of(userdata);
    if (reason != 0) {
      session.Fail({Code::RequestFailed, "the broker " + session.where +
                                             " refused the connection: " + mosquitto_reason_string(reason) +
                                             " (reason code " + std::to_string(reason) + ")"});
      return;
    }
    std::lock_guard const lock(session.mutex);
    session.connected = true;
    session.changed.notify_all();
  }

  static void OnDisconnect(mosquitto*, void* userdata, int rc, mosquitto_property const*) {
    int const error = errno;
    Session& session = Of(userdata);
    if (!session.stopping) {
      session.Fail(session.Classify(rc, error));
    }
  }

  static void OnPublish(mosquitto*, void* userdata, int mid, int reason, mosquitto_property const*) {
    Session& session = Of(userdata);
    std::lock_guard const lock(session.mutex);
    session.finished[mid] = reason;
    session.changed.notify_all();
  }

  static void OnLog(mosquitto*, void* userdata, int level, char const* text) {
    if ((level & (MOSQ_LOG_ERR | MOSQ_LOG_WARNING)) != 0 && text != nullptr) {
      Session& session = Of(userdata);
      std::lock_guard const lock(session.mutex);
      session.lastError = text;
    }
  }

  void Loop() {
    while (!stopping) {
      int const rc = mosquitto_loop(handle, kLoopWaitMs, 1);
      if (rc != MOSQ_ERR_SUCCESS) {
        int const error = errno;
        if (!stopping) {
          Fail(Classify(rc, error));
        }
        return;
      }
    }
  }
};

Connection::Connection(ConnectionSettings settings) : settings_(std::move(settings)) { InitialiseLibrary(); }

Connection::~Connection() = default;

void Connection::SetAnnouncements(std::vector<Publication> announcements) {
  std::lock_guard const lock(announcementsMutex_);
  if (announcements != announcements_) {
    announcements_ = std::move(announcements);
    announced_ = false;
  }
}

std::optional<network::Failure> Connection::Publish(std::vector<Publication> const& publications,
                                                    std::string const& deliveryId) {
  std::lock_guard const lock(mutex_);
  bool broken = false;
  if (session_) {
    std::lock_guard const sessionLock(session_->mutex);
    broken = session_->failure.has_value();
  }
  if (!session_ || broken) {
    Drop();
    if (auto failure = Connect()) {
      Drop();
      return failure;
    }
  }
  std::vector<Publication> announcements;
  {
    std::lock_guard const announcementsLock(announcementsMutex_);
    if (!announced_) {
      announcements = announcements_;
    }
  }
  for (auto const& announcement : announcements) {
    if (auto failure = PublishOne(announcement, {})) {
      Drop();
      return failure;
    }
  }
  if (!announcements.empty()) {
    std::lock_guard const announcementsLock(announcementsMutex_);
    announced_ = announcements == announcements_;
  }
  for (auto const& publication : publications) {
    if (auto failure = PublishOne(publication, deliveryId)) {
      Drop();
      return failure;
    }
  }
  return std::nullopt;
}

void Connection::Drop() {
  session_.reset();
  std::lock_guard const lock(announcementsMutex_);
  announced_ = false;
}

std::optional<network::Failure> Connection::Connect() {
  auto session = std::make_unique<Session>();
  session->where = settings_.host + ":" + std::to_string(settings_.port);
  // A clean start: what the last connection left unacknowledged is sent
  // again by its owner, not by the library.
  session->handle =
      mosquitto_new(settings_.clientId.empty() ? nullptr : settings_.clientId.c_str(), true, session.get());
  if (session->handle == nullptr) {
    return network::Failure{Code::RequestFailed, std::string("cannot make an MQTT client: ") + std::strerror(errno)};
  }
  mosquitto* const handle = session->handle;
  session_ = std::move(session);
  Session& current = *session_;
  mosquitto_int_option(handle, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
  mosquitto_threaded_set(handle, true);
  mosquitto_connect_v5_callback_set(handle, &Session::OnConnect);
  mosquitto_disconnect_v5_callback_set(handle, &Session::OnDisconnect);
  mosquitto_publish_v5_callback_set(handle, &Session::OnPublish);
  mosquitto_log_callback_set(handle, &Session::OnLog);
  if (!settings_.username.empty()) {
    mosquitto_username_pw_set(handle, settings_.username.c_str(),
                              settings_.password.empty() ? nullptr : settings_.password.c_str());
  }
  if (settings_.tls) {
    // Nothing can be verified without the CAs, as for the request action.
    if (!settings_.caFile.empty() && !std::ifstream(settings_.caFile).is_open()) {
      return network::Failure{Code::RequestCertificateVerificationFailed,
                              "the CA file \"" + settings_.caFile + "\" cannot be read: " + std::strerror(errno)};
    }
    int rc = MOSQ_ERR_SUCCESS;
    if (!settings_.caFile.empty()) {
      rc = mosquitto_tls_set(handle, settings_.caFile.c_str(), nullptr, nullptr, nullptr, nullptr);
    } else {
      rc = mosquitto_int_option(handle, MOSQ_OPT_TLS_USE_OS_CERTS, 1);
    }
    if (rc == MOSQ_ERR_SUCCESS && !settings_.verifyTls) {
      // 0: SSL_VERIFY_NONE, and no check of the name either.
      rc = mosquitto_tls_opts_set(handle, 0, nullptr, nullptr);
      if (rc == MOSQ_ERR_SUCCESS) {
        rc = mosquitto_tls_insecure_set(handle, true);
      }
    }
    if (rc != MOSQ_ERR_SUCCESS) {
      return network::Failure{Code::RequestTlsHandshakeFailed, "the TLS settings for the broker " + current.where +
                                                                   " cannot be used: " + mosquitto_strerror(rc)};
    }
  }
  errno = 0;
  int const rc =
      mosquitto_connect_bind_async(handle, settings_.host.c_str(), settings_.port, settings_.keepaliveS, nullptr);
  int const error = errno;
  if (rc == MOSQ_ERR_EAI) {
    return network::Failure{Code::RequestHostNotResolved,
                            "the broker's host name \"" + settings_.host + "\" did not resolve"};
  }
  if (rc != MOSQ_ERR_SUCCESS) {
    return current.Classify(rc, error);
  }
  current.loop = std::thread([&current] { current.Loop(); });
  std::unique_lock lock(current.mutex);
  bool const answered = current.changed.wait_for(lock, milliseconds(settings_.timeoutMs),
                                                 [&] { return current.connected || current.failure.has_value(); });
  if (current.failure) {
    return current.failure;
  }
  if (!answered) {
    return network::Failure{Code::RequestConnectionTimedOut, "the broker " + current.where +
                                                                 " did not accept the connection within " +
                                                                 std::to_string(settings_.timeoutMs) + " ms"};
  }
  return std::nullopt;
}

std::optional<network::Failure> Connection::PublishOne(Publication const& publication, std::string const& deliveryId) {
  Session& current = *session_;
  mosquitto_property* properties = nullptr;
  if (!deliveryId.empty()) {
    mosquitto_property_add_string_pair(&properties, MQTT_PROP_USER_PROPERTY, "delivery-id", deliveryId.c_str());
  }
  int mid = 0;
  int const rc = mosquitto_publish_v5(current.handle, &mid, publication.topic.c_str(),
                                      static_cast<int>(publication.payload.size()), publication.payload.data(),
                                      publication.qos, publication.retain, properties);
  mosquitto_property_free_all(&properties);
  if (rc != MOSQ_ERR_SUCCESS) {
    std::lock_guard const lock(current.mutex);
    if (current.failure) {
      return current.failure;
    }
    return network::Failure{Code::RequestFailed, "the message to \"" + publication.topic +
                                                     "\" cannot be published: " + mosquitto_strerror(rc)};
  }
  std::unique_lock lock(current.mutex);
  bool const answered = current.changed.wait_for(lock, milliseconds(settings_.timeoutMs), [&] {
    return current.finished.contains(mid) || current.failure.has_value();
  });
  if (auto const found = current.finished.find(mid); found != current.finished.end()) {
    int const reason = found->second;
    current.finished.erase(found);
    if (reason >= 128) {
      return network::Failure{Code::RequestFailed, "the broker " + current.where + " rejected the message to \"" +
                                                       publication.topic + "\": " + mosquitto_reason_string(reason) +
                                                       " (reason code " + std::to_string(reason) + ")"};
    }
    return std::nullopt;
  }
  if (current.failure) {
    return current.failure;
  }
  (void)answered;
  return network::Failure{Code::RequestConnectionTimedOut,
                          "the broker " + current.where + " did not acknowledge the message to \"" + publication.topic +
                              "\" within " + std::to_string(settings_.timeoutMs) + " ms"};
}

bool IsMqttText(std::string const& text) {
  return text.size() <= 65535 &&
         mosquitto_validate_utf8(text.data(), static_cast<int>(text.size())) == MOSQ_ERR_SUCCESS;
}

bool IsPublishableTopic(std::string const& topic) {
  return !topic.empty() && IsMqttText(topic) &&
         mosquitto_pub_topic_check2(topic.data(), topic.size()) == MOSQ_ERR_SUCCESS;
}

}  // namespace orv::plugins::mqtt
