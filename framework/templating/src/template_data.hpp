#pragma once

// Reading template data the way rendering and the missing-names check both
// need it: the context stack, name look-up and truthiness.

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

// One level of the context stack. Frames live on the C++ stack of the
// recursion that renders the sections, so the stack costs no allocation.
struct Frame {
  Value value;
  Frame const* parent;
};

// Resolves `name` as mustache does: the first segment in the innermost
// context that is a map holding it, each further segment inside the value
// found so far (no going back up the stack). Empty when the data lacks it.
inline Value Find(Name const& name, Frame const* top) noexcept {
  if (name.segments.empty()) {
    return top->value;
  }
  mstch::node const* found = nullptr;
  for (Frame const* frame = top; frame != nullptr; frame = frame->parent) {
    if (mstch::map const* const map = frame->value.map) {
      auto const entry = map->find(name.segments.front());
      if (entry != map->end()) {
        found = &entry->second;
        break;
      }
    }
  }
  for (std::size_t i = 1; found != nullptr && i < name.segments.size(); ++i) {
    auto const* map = boost::get<mstch::map>(found);
    if (map == nullptr) {
      return {};
    }
    auto const entry = map->find(name.segments[i]);
    found = entry != map->end() ? &entry->second : nullptr;
  }
  return found != nullptr ? Value::Of(*found) : Value{};
}

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

}  // namespace orv::templating::detail
