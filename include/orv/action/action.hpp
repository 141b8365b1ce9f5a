#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "orv/action/export.hpp"
#include "orv/hash/murmur_three_32.hpp"
#include "orv/meta/data/event.hpp"
#include "orv/observable/observable.hpp"
#include "orv/type/bad_cast.hpp"

namespace orv::action {

// The abstract base of every action: what the device does when one of its
// rules fires.
//
// An action subscribes to the observables it is given and routes each event
// through Process, which runs the concrete Execute only while the device is
// armed (orv::arm::GetState() == 1) or the action is set to trigger always.
//
// Make concrete actions with MakeShared below (the registration helper does):
// it ends the subscriptions before the concrete class's members are destroyed.
// Subscribe only once construction is complete (AddObservable, SetObservables
// or the "observables" property), since an event may arrive at once.
//
// Actions take no lock: the host serialises configuration changes (name,
// flag, observables) against event delivery. Process, Execute and Test are
// const and may run concurrently.
class ORV_ACTION_API Action : public std::enable_shared_from_this<Action> {
 public:
  using Observables = std::vector<std::shared_ptr<observable::Observable const>>;
  // What Execute returns; its pointee type is the concrete action's. May be empty.
  using Result = std::shared_ptr<void const>;

  virtual ~Action();
  Action(Action const&) = delete;
  Action& operator=(Action const&) = delete;

  // Performs the concrete action for one event.
  virtual Result Execute(std::shared_ptr<meta::data::Event const> event) const = 0;

  // The id of the concrete action's type name.
  hash::MurmurThree32 const& GetTypeNameId() const;
  // The process-wide instance id: 0 for the first action built, then 1, 2, ...
  std::uint32_t GetId() const;

  // This action as owned by its shared pointers; throws std::bad_weak_ptr when
  // it is not owned by one.
  std::shared_ptr<Action> GetPtr();
  std::shared_ptr<Action const> GetPtr() const;

  std::string GetName() const;
  void SetName(std::string name);

  // Whether the action fires whatever the armed state.
  bool GetAlwaysTrigger() const;
  void SetAlwaysTrigger(bool alwaysTrigger);

  // The observables subscribed to, in subscription order (duplicates included).
  Observables GetObservables() const;
  // Subscribes `observable` once more; there is no duplicate check.
  void AddObservable(std::shared_ptr<observable::Observable const> observable);
  // Ends the first subscription whose observable has the id of `observable`;
  // returns whether one was found.
  bool EraseObservable(std::shared_ptr<observable::Observable const> observable);
  // Replaces the observable at `index` (std::out_of_range past the end); the
  // very same observable keeps its subscription.
  void SetAtObservable(unsigned long index, std::shared_ptr<observable::Observable const> observable);
  // Ends every subscription, then subscribes each of `observables` in order.
  void SetObservables(Observables observables);

  // The armed-state gate: Execute's result when the action is set to trigger
  // always or the device is armed, an empty result otherwise.
  Result Process(std::shared_ptr<meta::data::Event const> event) const;

  // Runs Execute once, bypassing the armed-state gate, on a new event named
  // `text` of type "test" and category "test_category", stamped now and
  // carrying no objects. While that Execute runs, IsTesting() is true on the
  // calling thread.
  Result Test(std::string text) const;

  // Whether the calling thread is inside Execute called by Test. An action
  // that normally queues its work (a network action handing its message to an
  // outbox) does it at once for a test, so that the test reports the real
  // outcome.
  static bool IsTesting() noexcept;

  // The audit text of this action firing for `event` (which must not be null):
  // "channel_id:<c>:action_id:<a>:rule_id:<r>" when the event carries a
  // channel, "action_id:<a>:rule_id:<r>" otherwise. The first channel and the
  // first observable object of the event decide; without an observable object
  // the rule id is 4294967295.
  std::string GetAuditMessage(std::shared_ptr<meta::data::Event const> event) const;

  // The registered type name of this action's type, or null. Takes the
  // registry's lock: never call it from a make function.
  char const* GetTypeName() const;

  // The exception to throw when this action cannot be cast to `target`:
  // "Failed to cast the action from '<type name>' to a '<target>'". A null
  // type name or target cuts the message short at that point.
  type::BadCast BadCastError(char const* target) const;

  // The registered type name of `typeNameId`, or null.
  static char const* TypeName(hash::MurmurThree32 const& typeNameId);

  // A new action of the registered type `typeNameId`, or an empty pointer for
  // an unknown id. The type's make function runs under the registry's lock, so
  // no two makes overlap; its exceptions pass through.
  static std::shared_ptr<Action> Make(hash::MurmurThree32 const& typeNameId);

 protected:
  // Builds the action with a fresh id, an empty name and always-trigger off,
  // subscribed to `observables` in order.
  Action(hash::MurmurThree32 typeNameId, Observables observables);

  // Ends every subscription now, keeping the observable list; once it returns
  // no event reaches this action. The destructor of MakeShared's wrapper calls
  // it before the concrete class is torn down.
  void EndSubscriptions() noexcept;

 private:
  class Impl;
  using EventCallback = std::function<void(std::shared_ptr<meta::data::Event const>)>;
  EventCallback MakeEventCallback() const;
  Impl& GetImpl() const;

  std::unique_ptr<Impl> const impl_;
};

// Writes {"typename":<type name>,"id":<id>} for logs. The type name is not
// quoted, so this is not strictly JSON, on purpose. For an unregistered type
// only {"typename": is written and the stream is left failed.
ORV_ACTION_API std::ostream& operator<<(std::ostream& stream, Action const& action);

namespace detail {

// The most-derived class of every action made by MakeShared: its destructor
// runs first, and ends the subscriptions while the concrete action is whole.
template <class Concrete>
class Sealed final : public Concrete {
 public:
  using Concrete::Concrete;
  Sealed(Sealed const&) = delete;
  Sealed& operator=(Sealed const&) = delete;
  ~Sealed() override { this->EndSubscriptions(); }
};

}  // namespace detail

// Makes a concrete action, constructed from `args`, owned by a shared pointer.
// Without this, a concrete action's members would be destroyed before the base
// ends its subscriptions, and an event delivered on another thread in between
// would reach a half-destroyed action.
template <class Concrete, class... Args>
std::shared_ptr<Concrete> MakeShared(Args&&... args) {
  static_assert(std::is_base_of_v<Action, Concrete>, "MakeShared makes actions");
  static_assert(!std::is_final_v<Concrete>, "a concrete action must not be final: MakeShared derives from it");
  return std::make_shared<detail::Sealed<Concrete>>(std::forward<Args>(args)...);
}

}  // namespace orv::action
