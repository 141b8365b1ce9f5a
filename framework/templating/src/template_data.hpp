#pragma once

// Reading template data the way rendering and the missing-names check both
// need it: values, truthiness and the bound on the work of one walk.

#include <cstddef>
#include <mstch/mstch.hpp>

#include "template_program.hpp"

namespace orv::templating::detail {

// The alternatives of mstch::node, by index.
enum Kind : int { kNull, kString, kInt, kDouble, kBool, kLambda, kObject, kMap, kArray };

// What a name resolves to: a node, with its map when it is one. Template data
// given as a bare mstch::map (the result of SerializeEvent) has no node of its
// own, so "." at its root is the map alone.
struct Value {
  mstch::node const* node = nullptr;
  mstch::map const* map = nullptr;

  static Value Of(mstch::node const& node) noexcept { return {&node, boost::get<mstch::map>(&node)}; }
  explicit operator bool() const noexcept { return node != nullptr || map != nullptr; }
  // The alternative of the node; kMap for a bare map, kNull when nothing was found.
  int Which() const noexcept { return node != nullptr ? node->which() : map != nullptr ? kMap : kNull; }
};

// Throws std::invalid_argument naming the tag whose value is a lambda or a
// shared object.
[[noreturn]] void ThrowUnsupported(Body const& body, Name const& name, Value value);

// Whether a section over `value` renders: false for null, false, 0, empty
// text and an empty list. Throws on lambdas and shared objects.
inline bool IsTruthy(Body const& body, Name const& name, Value value) {
  if (value.node == nullptr) {
    return value.map != nullptr;
  }
  mstch::node const& node = *value.node;
  switch (node.which()) {
    case kNull:
      return false;
    case kString:
      return !boost::get<std::string>(node).empty();
    case kInt:
      return boost::get<int>(node) != 0;
    case kDouble:
      return boost::get<double>(node) != 0.0;
    case kBool:
      return boost::get<bool>(node);
    case kArray:
      return !boost::get<mstch::array>(node).empty();
    case kMap:
      return true;
    default:
      ThrowUnsupported(body, name, value);
  }
}

// Counts the steps of one rendering or check against the budget that
// kMaxStepsPerRenderedByte gives `maxRenderedSize`.
class StepBudget {
 public:
  // `walk` names what is counted in the message: "rendering" or "checking".
  StepBudget(std::size_t maxRenderedSize, char const* walk);

  void Take() {
    if (++taken_ > limit_) {
      Throw();
    }
  }

 private:
  [[noreturn]] void Throw() const;

  std::size_t limit_;
  char const* walk_;
  std::size_t taken_ = 0;
};

}  // namespace orv::templating::detail
