#include <memory>
#include <string>
#include <utility>

#include "orv/action/action.hpp"
#include "orv/action/properties.hpp"

namespace orv::action::properties {
namespace {

using Observable = std::shared_ptr<observable::Observable const>;

// The accessors of the three schemas: plain functions on the owning action.
// The property framework has checked the owner before any of them runs.

std::string GetName(Action const* action) { return action->GetName(); }
void SetName(Action* action, std::string name) { action->SetName(std::move(name)); }

Action::Observables GetObservables(Action const* action) { return action->GetObservables(); }
void SetObservables(Action* action, Action::Observables observables) { action->SetObservables(observables); }
void AddObservable(Action* action, Observable observable) { action->AddObservable(std::move(observable)); }
void EraseObservable(Action* action, Observable observable) { action->EraseObservable(std::move(observable)); }
void SetAtObservable(Action* action, unsigned long index, Observable observable) {
  action->SetAtObservable(index, std::move(observable));
}

bool GetAlwaysTrigger(Action const* action) { return action->GetAlwaysTrigger(); }
void SetAlwaysTrigger(Action* action, bool alwaysTrigger) { action->SetAlwaysTrigger(alwaysTrigger); }

}  // namespace

std::vector<property::Schema> Make(std::vector<property::Schema> schemas) {
  schemas.emplace_back("name", &SetName, &GetName, "A user-defined name for this action");
  schemas.emplace_back("observables", &SetObservables, &GetObservables, &AddObservable, &EraseObservable,
                       &SetAtObservable, "An array of indexes of observables associated with this action");
  schemas.emplace_back("always_trigger", &SetAlwaysTrigger, &GetAlwaysTrigger,
                       "A boolean specifying whether this action triggers irrespective of the armed state of the "
                       "device");
  return schemas;
}

}  // namespace orv::action::properties
