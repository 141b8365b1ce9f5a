#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "network/delivery.hpp"
#include "network/failure.hpp"
#include "network/text.hpp"
#include "orv/action/action.hpp"
#include "orv/action/field.hpp"
#include "orv/action/properties.hpp"
#include "orv/log/sink.hpp"
#include "orv/outbox/process.hpp"
#include "orv/property/external.hpp"
#include "orv/property/schema.hpp"

namespace orv::plugins::network {

// How one network action sends its messages, with the settings it had when
// this was made: immutable, shared by the action and its sender in the
// outbox, which may use it on any thread after the action is gone.
template <class Message>
class Courier {
 public:
  virtual ~Courier() = default;

  // Sends `message` and waits for the answer: nullopt when it was taken,
  // otherwise the failure. `deliveryId` is the outbox's id of the message
  // (empty when it is sent at once, without an outbox): the same on every
  // attempt, it goes into what is sent so that receivers can drop duplicates.
  virtual std::optional<Failure> Send(Message const& message, std::string const& deliveryId) const = 0;

  // The passwords and tokens that must never be logged or stored with `message`.
  virtual std::vector<std::string> Secrets(Message const& message) const = 0;

  // Where `message` goes, for people reading the outbox; no secrets.
  virtual std::string Destination(Message const& message) const = 0;

  // The message as the outbox stores it, without secrets, and back. Decode
  // throws std::runtime_error for bytes Encode did not make.
  virtual std::string Encode(Message const& message) const = 0;
  virtual Message Decode(std::string const& payload) const = 0;
};

// The base of a network action `Derived` that sends messages of type
// `Message`: it runs Execute, and adds the delivery properties (cool-down
// and retries) to the action's own. Derived provides
//
//   static constexpr char const* kTypeName = "orv.action.Mqtt";
//   // The message of one event, on the publishing thread; throws
//   // orv::action::Exception (after logging) when it cannot be made.
//   Message Render(std::shared_ptr<meta::data::Event const> const& event) const;
//   // A courier with the current settings.
//   std::shared_ptr<Courier<Message> const> MakeCourier() const;
//
// calls SettingsChanged() in every setter of something its courier holds,
// and builds its schemas with MakeSchemas({...its own fields...}).
//
// Execute skips the event during the cool-down of its rule (counted, an
// empty result), renders the message, and hands it to the process's outbox
// when the host installed one (orv/outbox/process.hpp); otherwise, and
// always for Test, it sends at once and throws orv::action::Exception on
// failure, after logging the detail. It returns the rendered message.
template <class Derived, class Message>
class NetworkAction : public action::Action {
 public:
  using CourierPointer = std::shared_ptr<Courier<Message> const>;

  Result Execute(std::shared_ptr<meta::data::Event const> event) const override {
    auto const& self = static_cast<Derived const&>(*this);
    if (IsTesting()) {
      auto message = std::make_shared<Message const>(self.Render(event));
      SendNow(*message);
      return message;
    }
    if (!coolDown_.Admit(RuleOf(*event))) {
      endpoint_.CountCooledDown();
      return {};
    }
    auto message = std::make_shared<Message const>(self.Render(event));
    std::string key = GetKey();
    if (auto const outbox = endpoint_.Attach(key)) {
      auto const courier = GetCourier();
      outbox->Accept({std::move(key), event->GetId(), courier->Destination(*message), courier->Encode(*message)});
      return message;
    }
    SendNow(*message);
    return message;
  }

  // The key of this action's messages in the outbox: "<type name>/<name>".
  std::string GetKey() const { return outbox::MakeActionKey(Derived::kTypeName, GetName()); }
  // Events this action skipped for their rule's cool-down.
  std::uint64_t GetCooledDown() const noexcept { return endpoint_.GetCooledDown(); }

  std::int64_t GetCooldownS() const noexcept { return delivery_.cooldownS; }
  void SetCooldownS(std::int64_t seconds) {
    delivery_.cooldownS = CheckCooldownS(seconds);
    coolDown_.SetPeriod(std::chrono::seconds(seconds));
  }
  std::int64_t GetRetryFirstMs() const noexcept { return delivery_.retryFirstMs; }
  void SetRetryFirstMs(std::int64_t ms) {
    delivery_.retryFirstMs = CheckRetryFirstMs(ms);
    endpoint_.Changed();
  }
  std::int64_t GetRetryFactor() const noexcept { return delivery_.retryFactor; }
  void SetRetryFactor(std::int64_t factor) {
    delivery_.retryFactor = CheckRetryFactor(factor);
    endpoint_.Changed();
  }
  std::int64_t GetRetryMaxMs() const noexcept { return delivery_.retryMaxMs; }
  void SetRetryMaxMs(std::int64_t ms) {
    delivery_.retryMaxMs = CheckRetryMaxMs(ms);
    endpoint_.Changed();
  }
  std::int64_t GetGiveUpAfterS() const noexcept { return delivery_.giveUpAfterS; }
  void SetGiveUpAfterS(std::int64_t seconds) {
    delivery_.giveUpAfterS = CheckGiveUpAfterS(seconds);
    endpoint_.Changed();
  }

  // `own` (the concrete type's schemas), then those of the delivery
  // properties, then the three every action has.
  static std::vector<property::Schema> MakeSchemas(std::vector<property::Schema> own) {
    using N = NetworkAction;
    own.push_back(DeliveryField<&N::GetCooldownS, &N::SetCooldownS>(
        "cooldown_s",
        "After the action fires, further events of the same rule within this many seconds are counted and "
        "skipped; 0: none are"));
    own.push_back(DeliveryField<&N::GetRetryFirstMs, &N::SetRetryFirstMs>(
        "retry_first_ms", "With an outbox: the longest wait before the first retry of a failed message, in ms"));
    own.push_back(DeliveryField<&N::GetRetryFactor, &N::SetRetryFactor>(
        "retry_factor", "With an outbox: each further failure multiplies the longest wait by this (1 to 10)"));
    own.push_back(DeliveryField<&N::GetRetryMaxMs, &N::SetRetryMaxMs>(
        "retry_max_ms", "With an outbox: the longest wait between two attempts, in ms"));
    own.push_back(DeliveryField<&N::GetGiveUpAfterS, &N::SetGiveUpAfterS>(
        "give_up_after_s",
        "With an outbox: a message still failing this many seconds after it was accepted goes to the dead list"));
    return action::properties::Make(std::move(own));
  }

 protected:
  NetworkAction() : Action(hash::MurmurThree32(Derived::kTypeName), {}) {}

  // Says that a setting the courier holds changed: the next message is sent
  // with a new courier.
  void SettingsChanged() {
    {
      std::lock_guard const lock(courierMutex_);
      courier_.reset();
    }
    endpoint_.Changed();
  }

  // The courier of the current settings.
  CourierPointer GetCourier() const {
    std::lock_guard const lock(courierMutex_);
    if (!courier_) {
      courier_ = static_cast<Derived const&>(*this).MakeCourier();
    }
    return courier_;
  }

  // Sends at once; on failure logs the detail, secrets hidden, and throws
  // orv::action::Exception with its code.
  void SendNow(Message const& message) const {
    auto const courier = GetCourier();
    if (auto failure = courier->Send(message, {})) {
      auto const secrets = courier->Secrets(message);
      Report(Derived::kTypeName, GetName(), *failure, std::vector<std::string_view>(secrets.begin(), secrets.end()));
    }
  }

 private:
  // The sender the outbox calls for this action's messages: it owns the
  // courier of the settings at the time, and logs each failed attempt.
  outbox::Endpoint::Terms MakeTerms() const {
    return {[courier = GetCourier(), name = GetName()](outbox::Message const& stored) -> outbox::Outcome {
              std::optional<Message> message;
              try {
                message = courier->Decode(stored.payload);
              } catch (std::exception const& error) {
                Failure const unreadable{action::exception::Code::None,
                                         std::string("the stored message cannot be read: ") + error.what()};
                log::Write(Derived::kTypeName, AttemptFailureText(name, stored.deliveryId, unreadable));
                return outbox::Outcome::PermanentFailure(0, unreadable.detail);
              }
              auto failure = courier->Send(*message, stored.deliveryId);
              if (!failure) {
                return outbox::Outcome::Sent();
              }
              auto const secrets = courier->Secrets(*message);
              failure->detail = Redact(failure->detail, std::vector<std::string_view>(secrets.begin(), secrets.end()));
              log::Write(Derived::kTypeName, AttemptFailureText(name, stored.deliveryId, *failure));
              return ToOutcome(*std::move(failure));
            },
            delivery_.GetPolicy()};
  }

  // The schema of a delivery property, read and written on the concrete
  // action through the getter and setter of this base.
  template <auto Get, auto Set>
  static property::Schema DeliveryField(std::string name, std::string description) {
    struct Accessors {
      static std::int64_t Read(action::Action const* action) {
        return std::invoke(Get, action::properties::detail::CastTo<Derived>(action));
      }
      static void Write(action::Action* action, std::int64_t value) {
        std::invoke(Set, action::properties::detail::CastTo<Derived>(action), value);
      }
    };
    return property::Schema(std::make_shared<property::External<std::int64_t>>(
        std::move(name), std::shared_ptr<action::Action>(), &Accessors::Write, &Accessors::Read,
        std::move(description)));
  }

  DeliverySettings delivery_;
  mutable CoolDown coolDown_;
  mutable std::mutex courierMutex_;
  mutable CourierPointer courier_;
  // Last: withdrawn before anything its callbacks use is destroyed.
  mutable outbox::Endpoint endpoint_{[this] { return GetKey(); }, [this] { return MakeTerms(); }};
};

}  // namespace orv::plugins::network
