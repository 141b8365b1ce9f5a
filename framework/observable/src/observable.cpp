#include "orv/observable/observable.hpp"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace orv::observable {
namespace detail {

// One subscription. `inflight` counts the deliveries running now; an unbind
// turns `active` off and then waits for the deliveries of other threads.
struct Subscription {
  explicit Subscription(Callback c) : callback(std::move(c)) {}

  Callback const callback;
  std::atomic<bool> active{true};
  std::atomic<int> inflight{0};
};

using List = std::vector<std::shared_ptr<Subscription>>;

// The observable's state, shared with its bindings so that a binding may
// outlive its observable. A delivery walks a snapshot of the list and never
// holds the lock while calling out. The list is copied on write only when a
// delivery has taken it since the last change; otherwise it is changed in
// place, so that subscribing n callbacks in a row costs O(n), not O(n^2).
struct Hub {
  explicit Hub(std::uint32_t i) : id(i) {}

  // The list to change, under `mutex`: a copy when a delivery may hold the
  // current one.
  List& Writable() {
    if (shared) {
      list = std::make_shared<List>(*list);
      shared = false;
    }
    return *list;
  }

  std::uint32_t const id;
  mutable std::mutex mutex;
  std::shared_ptr<List> list = std::make_shared<List>();
  bool shared = false;  // a delivery took `list` as its snapshot
};

namespace {

// The deliveries running on this thread, innermost first: an unbind from
// inside a callback must not wait for its own thread.
struct Frame {
  Subscription const* subscription;
  Frame const* outer;
};
thread_local Frame const* tInnermost = nullptr;

int CountOwnDeliveries(Subscription const& subscription) noexcept {
  int count = 0;
  for (Frame const* frame = tInnermost; frame != nullptr; frame = frame->outer) {
    count += frame->subscription == &subscription ? 1 : 0;
  }
  return count;
}

// Marks one delivery of `subscription` on this thread for its whole scope.
class Delivery {
 public:
  explicit Delivery(Subscription& subscription) noexcept
      : subscription_(subscription), frame_{&subscription, tInnermost} {
    // Sequentially consistent with Unbind: either the unbinder sees this
    // delivery in `inflight`, or this delivery sees `active` turned off.
    subscription_.inflight.fetch_add(1, std::memory_order_seq_cst);
    tInnermost = &frame_;
  }
  Delivery(Delivery const&) = delete;
  Delivery& operator=(Delivery const&) = delete;
  ~Delivery() {
    tInnermost = frame_.outer;
    subscription_.inflight.fetch_sub(1, std::memory_order_seq_cst);
    if (!subscription_.active.load(std::memory_order_seq_cst)) {
      subscription_.inflight.notify_all();
    }
  }
  bool IsLive() const noexcept { return subscription_.active.load(std::memory_order_seq_cst); }

 private:
  Subscription& subscription_;
  Frame frame_;
};

void Unbind(std::weak_ptr<Hub> const& weakHub, Subscription& subscription) {
  subscription.active.store(false, std::memory_order_seq_cst);
  if (auto hub = weakHub.lock()) {
    std::lock_guard lock(hub->mutex);
    List& list = hub->Writable();
    auto const found =
        std::find_if(list.begin(), list.end(), [&](auto const& entry) { return entry.get() == &subscription; });
    if (found != list.end()) {
      list.erase(found);
    }
  }
  int const own = CountOwnDeliveries(subscription);
  for (int running = subscription.inflight.load(std::memory_order_seq_cst); running > own;
       running = subscription.inflight.load(std::memory_order_seq_cst)) {
    subscription.inflight.wait(running, std::memory_order_seq_cst);
  }
}

}  // namespace
}  // namespace detail

Observable::Observable(std::uint32_t id) : hub_(std::make_shared<detail::Hub>(id)) {}

Observable::~Observable() = default;

std::uint32_t Observable::GetId() const noexcept { return hub_->id; }

type::Binding Observable::Bind(Callback callback) const {
  auto subscription = std::make_shared<detail::Subscription>(std::move(callback));
  // Everything that can fail comes before the subscription goes live.
  std::function<void()> unbind = [weakHub = std::weak_ptr<detail::Hub>(hub_), subscription] {
    detail::Unbind(weakHub, *subscription);
  };
  std::lock_guard lock(hub_->mutex);
  hub_->Writable().push_back(std::move(subscription));
  return type::Binding(std::move(unbind));
}

void Observable::Publish(std::shared_ptr<meta::data::Event> event) {
  std::exception_ptr first;
  Publish(std::move(event), [&first](std::exception_ptr failure) {
    if (!first) {
      first = std::move(failure);
    }
  });
  if (first) {
    std::rethrow_exception(first);
  }
}

void Observable::Publish(std::shared_ptr<meta::data::Event> event, FailureHandler const& onFailure) {
  if (!event) {
    throw std::invalid_argument("Cannot publish an empty event on observable " + std::to_string(hub_->id));
  }
  std::shared_ptr<detail::List const> snapshot;
  {
    std::lock_guard lock(hub_->mutex);
    snapshot = hub_->list;
    hub_->shared = true;
  }
  std::size_t const last = snapshot->size() - 1;
  for (std::size_t i = 0; i < snapshot->size(); ++i) {
    detail::Subscription& subscription = *(*snapshot)[i];
    detail::Delivery delivery(subscription);
    if (!delivery.IsLive()) {
      continue;
    }
    try {
      // The last subscriber takes over this call's reference: one pair of
      // atomic count changes fewer on every event.
      subscription.callback(i == last ? std::move(event) : event);
    } catch (...) {
      onFailure(std::current_exception());
    }
  }
}

std::size_t Observable::GetSubscriptionCount() const {
  std::lock_guard lock(hub_->mutex);
  return hub_->list->size();
}

}  // namespace orv::observable
