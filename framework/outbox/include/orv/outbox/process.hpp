#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "orv/outbox/counters.hpp"
#include "orv/outbox/export.hpp"
#include "orv/outbox/outbox.hpp"
#include "orv/outbox/outcome.hpp"
#include "orv/outbox/retry_policy.hpp"

// The outbox of the process, and the network actions that deliver through it.
//
// A host opts in by installing an outbox once its actions are configured;
// from then on every network action of the process hands its messages to it
// instead of sending them on the publishing thread. Without an installed
// outbox they send at once, as they always did.
//
//   auto outbox = std::make_shared<orv::outbox::Outbox>(settings);
//   orv::outbox::Install(outbox);  // registers every network action's sender
//   ...                            // publish events
//   orv::outbox::Install(nullptr); // back to sending at once
//   outbox->Shutdown();
//
// The actions' side is Endpoint: each network action holds one, which lets
// Install register the action's sender under the action's key.
namespace orv::outbox {

// The key a configured network action's messages are kept under: its type
// name and its name, "<type name>/<name>" ("orv.action.Request/door"). Type
// names hold no "/", so no two pairs make the same key; it stays the same
// across restarts as long as the configuration does.
ORV_OUTBOX_API std::string MakeActionKey(std::string_view typeName, std::string_view name);

// Makes `outbox` the one the process's network actions deliver through (null:
// none, they send at once) and returns the one it replaces. Registers the
// sender of every network action that exists now under the action's current
// key, so that messages left from an earlier run go out without waiting for
// a new event: call it once the actions are configured. An action made or
// changed later registers at its next event. Throws std::invalid_argument
// naming the key when two network actions have the same key (the same type
// and name); nothing changes then. Thread-safe; the host must not configure
// or destroy actions while it runs.
ORV_OUTBOX_API std::shared_ptr<Outbox> Install(std::shared_ptr<Outbox> outbox);

// The installed outbox, or null.
ORV_OUTBOX_API std::shared_ptr<Outbox> GetInstalled();

// The current key of every network action of the process, in no particular
// order, duplicates included: a host checks its configuration with it before
// installing an outbox.
ORV_OUTBOX_API std::vector<std::string> GetActionKeys();

// The counters of each key: those of the installed outbox (none without one),
// with each network action's cool-down count added under its current key.
ORV_OUTBOX_API std::map<std::string, Counters> GetActionCounters();

// One network action's place in the process: what Install registers for it,
// and where its Execute hands messages over. Make it a member of the action,
// destroyed before anything its callbacks use; it registers itself on
// construction and withdraws when destroyed. The sender stays registered with
// the outbox after that, so that messages already accepted are still
// delivered: a sender owns what it uses.
class ORV_OUTBOX_API Endpoint {
 public:
  // What the action's messages are sent with from now on.
  struct Terms {
    Sender sender;
    RetryPolicy policy;
  };
  // `key` gives the action's current key; `terms` makes a sender from the
  // action's current settings. Install calls both on the host's thread,
  // Attach `terms` on the publishing thread, with the process's outbox lock
  // held: neither may call the functions of this header.
  Endpoint(std::function<std::string()> key, std::function<Terms()> terms);
  Endpoint(Endpoint const&) = delete;
  Endpoint& operator=(Endpoint const&) = delete;
  ~Endpoint();

  // Says that what `terms` makes has changed (a setting of the action): the
  // next Attach registers a new sender.
  void Changed() noexcept;

  // The installed outbox, with this action's sender registered under `key`
  // (the action's current key) and current terms; null when no outbox is
  // installed. Registers when the outbox, the key or the terms changed since
  // the last time. Throws std::invalid_argument when another network action
  // holds `key`, and what Outbox::Register throws.
  std::shared_ptr<Outbox> Attach(std::string const& key);

  // Counts one event the action skipped for its cool-down.
  void CountCooledDown() noexcept;
  std::uint64_t GetCooledDown() const noexcept;

  // The library's own record of the endpoint.
  struct Record;

 private:
  std::shared_ptr<Record> record_;
};

}  // namespace orv::outbox
