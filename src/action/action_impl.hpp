#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "orv/action/action.hpp"
#include "orv/type/binding.hpp"

namespace orv::action {

// The private record of an action: its identity, name, flag and one
// (observable, binding) pair per subscription, in subscription order. Every
// pair's binding is the live subscription of the action's callback on that
// pair's observable.
class Action::Impl {
 public:
  using Callback = std::function<void(std::shared_ptr<meta::data::Event const>)>;
  using Pair = std::pair<std::shared_ptr<observable::Observable const>, type::Binding>;

  Impl(hash::MurmurThree32 typeNameId, Observables observables, Callback const& callback);
  virtual ~Impl();

  hash::MurmurThree32 const& GetTypeNameId() const noexcept { return typeNameId_; }
  std::uint32_t GetId() const noexcept { return id_; }
  Observables GetObservables() const;
  std::string GetName() const { return name_; }
  void SetName(std::string const& name) { name_ = name; }
  bool GetAlwaysTrigger() const noexcept { return alwaysTrigger_; }
  void SetAlwaysTrigger(bool alwaysTrigger) noexcept { alwaysTrigger_ = alwaysTrigger; }

  void AddObservable(std::shared_ptr<observable::Observable const> observable, Callback callback);
  bool EraseObservable(std::shared_ptr<observable::Observable const> const& observable);
  void SetAtObservable(unsigned long index, std::shared_ptr<observable::Observable const> observable,
                       Callback callback);
  void SetObservables(Observables observables, Callback callback);
  void EndSubscriptions() noexcept;

 private:
  // Subscribes `callback` to `observable`: binds first, so nothing is added when binding throws.
  static Pair Subscribe(std::shared_ptr<observable::Observable const> observable, Callback callback);

  hash::MurmurThree32 const typeNameId_;
  std::uint32_t const id_;
  std::string name_;
  std::vector<Pair> bindings_;
  bool alwaysTrigger_ = false;
};

}  // namespace orv::action
