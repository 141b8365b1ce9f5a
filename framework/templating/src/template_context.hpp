#pragma once

// The context stack of one rendering or check, and name look-up in it.

#include <cstddef>
#include <cstdint>
#include <mstch/mstch.hpp>
#include <string>
#include <vector>

#include "template_data.hpp"
#include "template_program.hpp"

namespace orv::templating::detail {

// The root data at the bottom, then the value of every enclosing section.
//
// A name is looked up as mustache says: its first segment in the innermost
// map that holds it, walking down the stack. Done naively, sections nested n
// deep that each look up a name of the root data cost n^2/2 map look-ups in
// all. So the walk skips frames that are not maps, and a long walk leaves
// behind, for every map it passed, where the segment is found below it; a
// later walk for the same segment stops at the first such note whose frame
// is still on the stack. Each frame is then passed at most once per segment
// while it lives.
class ContextStack {
 public:
  // A stack holding `root` alone, for names whose keys are below `keyCount`.
  ContextStack(Value root, std::size_t keyCount);

  void Push(Value value) { frames_.push_back({value, TopMap(), ++serial_}); }
  void Pop() { frames_.pop_back(); }
  Value const& Top() const { return frames_.back().value; }

  // The value of `name` (Name::key below the count given), empty when the
  // data lacks it. The first segment is found as above; each further segment
  // inside the value found so far, with no going back up the stack.
  Value Find(Name const& name) {
    if (name.segments.empty()) {
      return Top();
    }
    mstch::node const* found = FindFirst(name.key, name.segments.front());
    for (std::size_t i = 1; found != nullptr && i < name.segments.size(); ++i) {
      auto const* map = boost::get<mstch::map>(found);
      found = map != nullptr ? Lookup(*map, name.segments[i]) : nullptr;
    }
    return found != nullptr ? Value::Of(*found) : Value{};
  }

 private:
  static constexpr std::uint32_t kNone = UINT32_MAX;
  // Walks of up to this many maps are not worth noting.
  static constexpr int kShortWalk = 4;

  struct Frame {
    Value value;
    std::uint32_t mapBelow;  // the nearest frame below that holds a map, or kNone
    std::uint64_t serial;    // tells a frame from a later one at the same index
  };

  // What a walk learnt: at and below `frame`, the segment is `found`
  // (nullptr: nowhere). True while that frame is on the stack.
  struct Note {
    std::uint32_t frame;
    std::uint64_t serial;
    mstch::node const* found;
  };

  static mstch::node const* Lookup(mstch::map const& map, std::string const& key) {
    auto const entry = map.find(key);
    return entry != map.end() ? &entry->second : nullptr;
  }

  std::uint32_t TopMap() const {
    Frame const& top = frames_.back();
    return top.value.map != nullptr ? static_cast<std::uint32_t>(frames_.size() - 1) : top.mapBelow;
  }

  mstch::node const* FindFirst(std::uint32_t key, std::string const& segment) {
    std::uint32_t frame = TopMap();
    for (int i = 0; i < kShortWalk && frame != kNone; ++i, frame = frames_[frame].mapBelow) {
      if (mstch::node const* const found = Lookup(*frames_[frame].value.map, segment)) {
        return found;
      }
    }
    return frame == kNone ? nullptr : FindFirstNoting(key, segment);
  }

  mstch::node const* FindFirstNoting(std::uint32_t key, std::string const& segment);

  std::vector<Frame> frames_;
  std::uint64_t serial_ = 0;
  std::size_t keyCount_;
  std::vector<std::vector<Note>> notes_;  // by key; made on the first long walk
  std::vector<std::uint32_t> walked_;     // scratch of FindFirstNoting
};

}  // namespace orv::templating::detail
