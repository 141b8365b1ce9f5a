#include "golden_event.hpp"

#include <chrono>

#include "orv/meta/data/channel.hpp"
#include "orv/meta/data/classification/confidence.hpp"
#include "orv/meta/data/classification/name.hpp"
#include "orv/meta/data/colour_signature.hpp"
#include "orv/meta/data/count/line.hpp"
#include "orv/meta/data/count/value.hpp"
#include "orv/meta/data/object/area.hpp"
#include "orv/meta/data/object/height.hpp"
#include "orv/meta/data/object/speed.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/meta/data/segmented_colour_signature.hpp"
#include "orv/meta/data/tracked_object.hpp"
#include "orv/meta/data/zone.hpp"

namespace orv::examples {
namespace {

namespace data = meta::data;
using Normalized = geometry::normalized::Value<unsigned short>;
using NPoint = geometry::Point<Normalized, 2>;

NPoint P(unsigned short x, unsigned short y) { return NPoint{Normalized{x}, Normalized{y}}; }

// An octagon around (x, y) with half-width w and half-height h.
geometry::NormalizedPolygon Octagon(unsigned short x, unsigned short y, unsigned short w, unsigned short h) {
  auto const hw = static_cast<unsigned short>(w / 2);
  auto const hh = static_cast<unsigned short>(h / 2);
  return geometry::NormalizedPolygon({
      P(static_cast<unsigned short>(x - hw), static_cast<unsigned short>(y - h)),
      P(static_cast<unsigned short>(x + hw), static_cast<unsigned short>(y - h)),
      P(static_cast<unsigned short>(x + w), static_cast<unsigned short>(y - hh)),
      P(static_cast<unsigned short>(x + w), static_cast<unsigned short>(y + hh)),
      P(static_cast<unsigned short>(x + hw), static_cast<unsigned short>(y + h)),
      P(static_cast<unsigned short>(x - hw), static_cast<unsigned short>(y + h)),
      P(static_cast<unsigned short>(x - w), static_cast<unsigned short>(y + hh)),
      P(static_cast<unsigned short>(x - w), static_cast<unsigned short>(y - hh)),
  });
}

std::shared_ptr<data::TrackedObject const> Tracked(std::uint32_t id, unsigned short x, unsigned short y,
                                                   unsigned short w, unsigned short h, data::Objects meta) {
  return std::make_shared<data::TrackedObject>(id, Octagon(x, y, w, h), Normalized{static_cast<unsigned short>(2 * w)},
                                               Normalized{static_cast<unsigned short>(2 * h)}, std::move(meta));
}

}  // namespace

std::shared_ptr<meta::data::Event const> MakeGoldenEvent() {
  using namespace std::chrono;
  using ColourData = data::ColourSignature::ColourData;
  using Segment = data::SegmentedColourSignature::Segment;

  auto const backpack = Tracked(201, 21000, 30500, 1200, 1800,
                                {std::make_shared<data::classification::Confidence>("backpack", 0.71F, 201),
                                 std::make_shared<data::object::Area>(0.0011F)});
  auto const person =
      Tracked(101, 20000, 30000, 3000, 9000,
              {std::make_shared<data::object::Speed>(1.4F), std::make_shared<data::object::Area>(0.0123F),
               std::make_shared<data::classification::Confidence>("person", 0.92F, 101), backpack});
  auto const car = Tracked(102, 45000, 40000, 8000, 5000,
                           {std::make_shared<data::object::Speed>(8.25F), std::make_shared<data::object::Area>(0.0875F),
                            std::make_shared<data::classification::Confidence>("car", 0.97F, 102),
                            std::make_shared<data::classification::Name>("vehicle")});
  auto const bicycle =
      Tracked(103, 30000, 50000, 2500, 4000,
              {std::make_shared<data::object::Speed>(4.5F), std::make_shared<data::object::Area>(0.0154F),
               std::make_shared<data::classification::Confidence>("bicycle", 0.87654321F, 103),
               std::make_shared<data::object::Height>(1.1F)});

  auto const entrance = std::make_shared<data::Zone>(
      1, "Entrance", 1, std::array<std::uint8_t, 4>{255, 0, 0, 128}, data::zone::Detection::Enter,
      data::zone::Type::Detection,
      geometry::NormalizedPolygon({P(10000, 20000), P(30000, 20000), P(30000, 45000), P(10000, 45000)}), false);
  auto const parking =
      std::make_shared<data::Zone>(2, "Parking", 1, std::array<std::uint8_t, 4>{0, 128, 255, 255},
                                   data::zone::Detection::Dwell, data::zone::Type::NonDetection,
                                   geometry::NormalizedPolygon({P(35000, 30000), P(60000, 30000), P(60000, 60000),
                                                                P(47500, 65000), P(35000, 60000)}),
                                   true);

  data::ColourSignature const jacket({ColourData("red", 200, 30, 40, 0.6F), ColourData("black", 10, 10, 10, 0.3F),
                                      ColourData("white", 250, 250, 250, 0.1F)});
  data::ColourSignature const trousers(
      {ColourData("blue", 20, 40, 160, 0.85F), ColourData("grey", 128, 128, 128, 0.15F)});

  data::Objects objects{
      person,
      entrance,
      std::make_shared<data::count::Line>(7, Normalized{2000}, Normalized{32768}, 42, data::line::Direction::AToB, 1),
      car,
      std::make_shared<data::count::Value>(1, "Visitors today", 318, 1, P(1000, 2000)),
      std::make_shared<data::count::Value>(2, "Cars parked", -3, -1, P(1000, 4000)),
      std::make_shared<data::Channel>(1, "Front gate"),
      parking,
      std::make_shared<data::Observable>(17),
      std::make_shared<data::classification::Confidence>("person", 0.92F, 101),
      std::make_shared<data::ColourSignature>(jacket),
      std::make_shared<data::SegmentedColourSignature>(
          std::map<Segment, data::ColourSignature>{{Segment::Upper, jacket}, {Segment::Lower, trousers}}),
      bicycle,
      std::make_shared<data::object::Speed>(1.4F),
      std::make_shared<data::object::Speed>(8.25F),
      std::make_shared<data::object::Area>(0.0123F),
      std::make_shared<data::object::Area>(0.0875F),
  };

  data::TimePoint const start(sys_days(year(2024) / May / 6).time_since_epoch() + 7h + 8min + 9s + 123456789ns);
  auto event = std::make_shared<data::Event>("Entrance watch", "motion", "video", start, std::move(objects));
  event->SetId(4711);
  event->SetEnd(start + 2500ms);
  return event;
}

}  // namespace orv::examples
