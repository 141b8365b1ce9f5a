#pragma once

// Reading template data the way rendering and the missing-names check both
// need it: the context stack, name look-up and truthiness.

#include <cstddef>
#include <mstch/mstch.hpp>

#include "template_program.hpp"

namespace orv::templating::detail {

// The alternatives of mstch::node, by index.
enum Kind : int { kNull, kString, kInt, kDouble, kBool, kLambda, kObject, kMap, kArray };

// One level of the context stack. Frames live on the C++ stack of the
// recursion that renders the sections, so the stack costs no allocation.
struct Frame {
  mstch::node const* node;
  Frame const* parent;
};

// Resolves `name` as mustache does: the first segment in the innermost
// context that is a map holding it, each further segment inside the value
// found so far (no going back up the stack). Null when the data lacks it.
inline mstch::node const* Find(Name const& name, Frame const* top) noexcept {
  if (name.segments.empty()) {
    return top->node;
  }
  mstch::node const* found = nullptr;
  for (Frame const* frame = top; frame != nullptr; frame = frame->parent) {
    if (auto const* map = boost::get<mstch::map>(frame->node)) {
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
      return nullptr;
    }
    auto const entry = map->find(name.segments[i]);
    found = entry != map->end() ? &entry->second : nullptr;
  }
  return found;
}

// Throws std::invalid_argument naming the tag whose value is a lambda or a
// shared object.
[[noreturn]] void ThrowUnsupported(Body const& body, Name const& name, mstch::node const& value);

// Whether a section over `value` renders: false for null, false, 0, empty
// text and an empty list. Throws on lambdas and shared objects.
inline bool IsTruthy(Body const& body, Name const& name, mstch::node const& value) {
  switch (value.which()) {
    case kNull:
      return false;
    case kString:
      return !boost::get<std::string>(value).empty();
    case kInt:
      return boost::get<int>(value) != 0;
    case kDouble:
      return boost::get<double>(value) != 0.0;
    case kBool:
      return boost::get<bool>(value);
    case kArray:
      return !boost::get<mstch::array>(value).empty();
    case kMap:
      return true;
    default:
      ThrowUnsupported(body, name, value);
  }
}

}  // namespace orv::templating::detail
