#include "orv/action/action.hpp"

#include <atomic>
#include <stdexcept>

#include "action_impl.hpp"
#include "orv/arm/state.hpp"

namespace orv::action {
namespace {

// The next instance id: 0 for the first action of the process, never reused,
// wrapping modulo 2^32.
std::uint32_t GetNextId() noexcept {
  static std::atomic<std::uint32_t> SId;
  return SId.fetch_add(1, std::memory_order_seq_cst);
}

}  // namespace

// Record

Action::Impl::Pair Action::Impl::Subscribe(std::shared_ptr<observable::Observable const> observable,
                                           Callback callback) {
  type::Binding binding = observable->Bind(std::move(callback));
  return {std::move(observable), std::move(binding)};
}

Action::Impl::Impl(hash::MurmurThree32 typeNameId, Observables observables, Callback const& callback)
    : typeNameId_(typeNameId), id_(GetNextId()) {
  SetObservables(std::move(observables), callback);
}

Action::Impl::~Impl() = default;

Action::Observables Action::Impl::GetObservables() const {
  Observables observables;
  observables.reserve(bindings_.size());
  for (auto const& [observable, binding] : bindings_) {
    observables.push_back(observable);
  }
  return observables;
}

void Action::Impl::AddObservable(std::shared_ptr<observable::Observable const> observable, Callback callback) {
  bindings_.push_back(Subscribe(std::move(observable), std::move(callback)));
}

bool Action::Impl::EraseObservable(std::shared_ptr<observable::Observable const> const& observable) {
  // Identity is the observable's id, not its address.
  for (auto it = bindings_.begin(); it != bindings_.end(); ++it) {
    if (it->first->GetId() == observable->GetId()) {
      it->second.Unbind();
      bindings_.erase(it);
      return true;
    }
  }
  return false;
}

void Action::Impl::SetAtObservable(unsigned long index, std::shared_ptr<observable::Observable const> observable,
                                   Callback callback) {
  Pair& pair = bindings_.at(index);
  if (pair.first == observable) {
    return;
  }
  Pair fresh = Subscribe(std::move(observable), std::move(callback));
  pair.first = std::move(fresh.first);
  // Assigning over the old binding ends the old subscription.
  pair.second = std::move(fresh.second);
}

void Action::Impl::SetObservables(Observables observables, Callback callback) {
  for (auto& [observable, binding] : bindings_) {
    binding.Unbind();
  }
  bindings_.clear();
  bindings_.reserve(observables.size());
  for (auto& observable : observables) {
    bindings_.push_back(Subscribe(std::move(observable), callback));
  }
}

void Action::Impl::EndSubscriptions() noexcept {
  for (auto& [observable, binding] : bindings_) {
    binding.Unbind();
  }
}

// Action

Action::Action(hash::MurmurThree32 typeNameId, Observables observables)
    : impl_(std::make_unique<Impl>(typeNameId, std::move(observables), MakeEventCallback())) {}

Action::~Action() = default;

Action::EventCallback Action::MakeEventCallback() const {
  return [action = this](std::shared_ptr<meta::data::Event const> event) { action->Process(std::move(event)); };
}

Action::Impl& Action::GetImpl() const {
  if (!impl_) {
    throw std::logic_error("Pimpl is null");
  }
  return *impl_;
}

hash::MurmurThree32 const& Action::GetTypeNameId() const { return GetImpl().GetTypeNameId(); }

std::uint32_t Action::GetId() const { return GetImpl().GetId(); }

std::shared_ptr<Action> Action::GetPtr() { return shared_from_this(); }

std::shared_ptr<Action const> Action::GetPtr() const { return shared_from_this(); }

// Name access uses the record unchecked, unlike every other accessor.
std::string Action::GetName() const { return impl_->GetName(); }

void Action::SetName(std::string name) { impl_->SetName(name); }

bool Action::GetAlwaysTrigger() const { return GetImpl().GetAlwaysTrigger(); }

void Action::SetAlwaysTrigger(bool alwaysTrigger) { GetImpl().SetAlwaysTrigger(alwaysTrigger); }

Action::Observables Action::GetObservables() const { return GetImpl().GetObservables(); }

void Action::AddObservable(std::shared_ptr<observable::Observable const> observable) {
  GetImpl().AddObservable(std::move(observable), MakeEventCallback());
}

bool Action::EraseObservable(std::shared_ptr<observable::Observable const> observable) {
  return GetImpl().EraseObservable(observable);
}

void Action::SetAtObservable(unsigned long index, std::shared_ptr<observable::Observable const> observable) {
  GetImpl().SetAtObservable(index, std::move(observable), MakeEventCallback());
}

void Action::SetObservables(Observables observables) {
  GetImpl().SetObservables(std::move(observables), MakeEventCallback());
}

Action::Result Action::Process(std::shared_ptr<meta::data::Event const> event) const {
  if (!GetAlwaysTrigger() && arm::GetState() != 1) {
    return {};
  }
  return Execute(std::move(event));
}

void Action::EndSubscriptions() noexcept {
  if (impl_) {
    impl_->EndSubscriptions();
  }
}

}  // namespace orv::action
