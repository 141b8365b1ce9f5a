#include "template_context.hpp"

namespace orv::templating::detail {

ContextStack::ContextStack(Value root, std::size_t keyCount) : keyCount_(keyCount) {
  frames_.reserve(16);
  frames_.push_back({root, kNone, serial_});
}

mstch::node const* ContextStack::FindFirstNoting(std::uint32_t key, std::string const& segment) {
  if (notes_.empty()) {
    notes_.resize(keyCount_);
  }
  // Notes rise with their frames; a note whose frame has gone leaves all
  // notes above it stale too, and those are at the back.
  std::vector<Note>& notes = notes_[key];
  while (!notes.empty() &&
         (notes.back().frame >= frames_.size() || frames_[notes.back().frame].serial != notes.back().serial)) {
    notes.pop_back();
  }
  std::uint32_t const floor = notes.empty() ? kNone : notes.back().frame;
  mstch::node const* found = notes.empty() ? nullptr : notes.back().found;
  walked_.clear();
  for (std::uint32_t frame = TopMap(); frame != kNone && (floor == kNone || frame > floor);
       frame = frames_[frame].mapBelow) {
    if (mstch::node const* const hit = Lookup(*frames_[frame].value.map, segment)) {
      found = hit;
      break;
    }
    walked_.push_back(frame);
  }
  // Every map passed finds the segment where this walk did.
  for (auto frame = walked_.rbegin(); frame != walked_.rend(); ++frame) {
    notes.push_back({*frame, frames_[*frame].serial, found});
  }
  return found;
}

}  // namespace orv::templating::detail
