#include "fixed_event.hpp"

#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>

#include "event_file.hpp"
#include "fuzz_support.hpp"
#include "orv/action/serialize.hpp"

namespace orv::fuzz {

mstch::map const& FixedEventData() {
  static mstch::map const data = [] {
    setenv("TZ", "UTC", 1);
    tzset();
    return action::SerializeEvent(tool::ReadEventFile(ORV_FUZZ_FIXED_EVENT));
  }();
  return data;
}

mstch::map const& MixedData() {
  static mstch::map const data = [] {
    mstch::array rows;
    for (int i = 0; i < 3; ++i) {
      rows.emplace_back(mstch::map{{"id", i},
                                   {"name", std::string("row <") + std::to_string(i) + ">"},
                                   {"cells", mstch::array{std::string("a"), std::string("&b"), false, 2.5}}});
    }
    return mstch::map{
        {"text", std::string("Tom & \"Jerry\" <tom@example.test>\n\ttab")},
        {"empty", std::string()},
        {"yes", true},
        {"no", false},
        {"zero", 0},
        {"number", -17},
        {"real", 0.1},
        {"rows", rows},
        {"nested", mstch::array{mstch::array{std::string("x"), mstch::array{}}, mstch::array{}}},
        {"map",
         mstch::map{{"a", mstch::map{{"b", mstch::map{{"c", std::string("deep")}}}}}, {".", std::string("dot")}}},
    };
  }();
  return data;
}

RenderingChoice ChooseRendering(std::uint8_t flags, std::size_t largeLimit) {
  return {static_cast<templating::Escape>(flags & 3U), (flags & 4U) != 0 ? &MixedData() : &FixedEventData(),
          (flags & 8U) != 0 ? largeLimit : 200};
}

std::vector<templating::MissingName> RenderAndFindMissing(templating::Template const& compiled,
                                                          RenderingChoice const& choice) {
  std::string out;
  try {
    compiled.RenderTo(*choice.data, out, choice.limit);
  } catch (std::length_error const&) {
    // Past the rendering limit, the steps or the partials' nesting.
  }
  Check(out.size() <= choice.limit, "a rendering beyond its limit");
  try {
    return compiled.FindMissingNames(*choice.data);
  } catch (std::length_error const&) {
    return {};  // the check's steps
  }
}

}  // namespace orv::fuzz
