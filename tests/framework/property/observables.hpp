#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "orv/observable/observable.hpp"
#include "orv/property/array.hpp"

namespace orv::test {

using property::ObservableArray;

using ObservablePtr = std::shared_ptr<observable::Observable const>;

inline ObservablePtr MakeObservable(std::uint32_t id) { return std::make_shared<observable::Observable const>(id); }

// The observables an array property holds, in order.
inline std::vector<ObservablePtr> Values(ObservableArray const& array) {
  std::vector<ObservablePtr> values;
  for (auto const& element : array.GetElements()) {
    values.push_back(element.Get<observable::Observable>());
  }
  return values;
}

}  // namespace orv::test
