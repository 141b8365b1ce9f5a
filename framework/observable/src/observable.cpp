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
// outlive its observable. The list is copied on write: a delivery walks a
// snapshot and never holds the lock while calling out.
struct Hub {
  explicit Hub(std::uint32_t i) : id(i) {}

  std::uint32_t const id;
  mutable std::mutex mutex;
  std::shared_ptr<List const> list = std::make_shared<List const>();
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
    auto list = std::make_shared<List>();
    list->reserve(hub->list->size());
    std::copy_if(hub->list->begin(), hub->list->end(), std::back_inserter(*list),
                 [&](auto const& entry) { return entry.get() != &subscription; });
    hub->list = std::move(list);
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
  auto list = std::make_shared<detail::List>();
  std::lock_guard lock(hub_->mutex);
  list->reserve(hub_->list->size() + 1);
  *list = *hub_->list;
  list->push_back(std::move(subscription));
  hub_->list = std::move(list);
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
