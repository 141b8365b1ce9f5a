#pragma once

#include <functional>
#include <memory>

#include "orv/meta/data/event.hpp"

namespace orv::observable {

// What an observable calls for each published event.
using Callback = std::function<void(std::shared_ptr<meta::data::Event>)>;

namespace function {

// The event adaptor around `f`: passes a delivered object on to `f` (as an
// event pointer to const) only when its type id is exactly that of
// "orv.meta.data.Event"; anything else, including types derived from the event
// class under names of their own, is dropped silently. Exceptions of `f` pass
// through; an empty `f` throws std::bad_function_call at delivery.
template <class F>
Callback MakeCallback(F f) {
  return [f = std::move(f)](std::shared_ptr<meta::data::Event> event) {
    if (event->GetTypeNameId() != object::TypeIdOf<meta::data::Event>) {
      return;
    }
    f(std::shared_ptr<meta::data::Event const>(std::move(event)));
  };
}

}  // namespace function
}  // namespace orv::observable
