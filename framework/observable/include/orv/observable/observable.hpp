#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>

#include "orv/meta/data/event.hpp"
#include "orv/object/type_names.hpp"
#include "orv/observable/callback.hpp"
#include "orv/observable/export.hpp"
#include "orv/type/binding.hpp"

namespace orv::observable {

namespace detail {
struct Hub;
}

// An event source: a rule or detector of the device that publishes events to
// its subscribers.
//
// Publish delivers on the caller's thread to every live subscription, in
// subscription order. Subscribing and unbinding during a delivery, from the
// callback itself or from another thread, is safe. When a binding is unbound,
// assigned over or destroyed on another thread, a delivery of its callback that
// was running has finished by the time that returns; called from inside the
// callback itself it returns at once. Either way the callback is never called
// again. Bindings may outlive the observable.
class ORV_OBSERVABLE_API Observable {
 public:
  // The pointee type name of pointers to observables.
  static constexpr char const* kTypeName = object::type_name::kObservable;

  explicit Observable(std::uint32_t id);
  Observable(Observable const&) = delete;
  Observable& operator=(Observable const&) = delete;
  ~Observable();

  // The observable's id; two observables with the same id count as the same source.
  std::uint32_t GetId() const noexcept;

  // Subscribes `callback` to every event published from now on.
  type::Binding Bind(Callback callback) const;

  // Subscribes `f`, a callable taking std::shared_ptr<meta::data::Event const>,
  // through the event adaptor (function::MakeCallback): it sees events only.
  template <class F>
  type::Binding Bind(F f) const {
    return Bind(function::MakeCallback(F(f)));
  }

  // What Publish hands a callback's exception to.
  using FailureHandler = std::function<void(std::exception_ptr failure)>;

  // Delivers `event` to every live subscription; throws std::invalid_argument
  // for an empty event. A callback that throws does not keep the event from
  // the later subscriptions: once every callback has run, the first exception
  // is rethrown.
  void Publish(std::shared_ptr<meta::data::Event> event);
  // Delivers `event` as above, handing each callback's exception to
  // `onFailure` right after that callback, before the next one runs.
  void Publish(std::shared_ptr<meta::data::Event> event, FailureHandler const& onFailure);

  // The number of live subscriptions.
  std::size_t GetSubscriptionCount() const;

 private:
  std::shared_ptr<detail::Hub> hub_;
};

}  // namespace orv::observable
