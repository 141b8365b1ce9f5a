#include "orv/chrono/save.hpp"

#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>

#include "orv/action/serialize.hpp"
#include "orv/geometry/normalized.hpp"
#include "orv/meta/data/armed.hpp"
#include "orv/meta/data/channel.hpp"
#include "orv/meta/data/classification/confidence.hpp"
#include "orv/meta/data/classification/name.hpp"
#include "orv/meta/data/colour_signature.hpp"
#include "orv/meta/data/count/line.hpp"
#include "orv/meta/data/count/value.hpp"
#include "orv/meta/data/gpu_stats.hpp"
#include "orv/meta/data/host.hpp"
#include "orv/meta/data/object/area.hpp"
#include "orv/meta/data/object/calibrated_position.hpp"
#include "orv/meta/data/object/gone.hpp"
#include "orv/meta/data/object/ground_point.hpp"
#include "orv/meta/data/object/height.hpp"
#include "orv/meta/data/object/history.hpp"
#include "orv/meta/data/object/merged.hpp"
#include "orv/meta/data/object/pixel_count.hpp"
#include "orv/meta/data/object/speed.hpp"
#include "orv/meta/data/object/split.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/meta/data/segmented_colour_signature.hpp"
#include "orv/meta/data/tampered.hpp"
#include "orv/meta/data/text.hpp"
#include "orv/meta/data/tracked_object.hpp"
#include "orv/meta/data/zone.hpp"

namespace orv::templating::serialize::archive::output {
namespace {

namespace data = meta::data;
using orv::object::Object;

// Writes the fields of one element into its freshly started node.
using Writer = void (*)(Data&, Object const&);

template <class Record>
void SaveWhole(Data& archive, Object const& object) {
  object.As<Record>().Save(archive);
}

template <class Record>
void SaveFloatValue(Data& archive, Object const& object) {
  Record const& record = object.As<Record>();
  record.Serialize(archive);
  archive.SetNextName("value");
  archive.SaveValue<float>(record.GetValue());
}

void SaveIds(Data& archive, char const* name, std::vector<std::uint32_t> const& ids) {
  archive.SetNextName(name);
  archive.StartNode();
  archive.MakeArray(ids.size());
  for (std::uint32_t const id : ids) {
    archive.SaveValue<unsigned int>(id);
  }
  archive.FinishNode();
}

void SaveColours(Data& archive, data::ColourSignature const& signature) {
  auto const& colours = signature.GetColours();
  archive.SetNextName("colours");
  archive.StartNode();
  archive.MakeArray(colours.size());
  for (auto const& colour : colours) {
    archive.StartNode();
    // Serialize is non-const only because cereal-style members serve loading
    // too; it reads the entry and nothing else.
    const_cast<data::ColourSignature::ColourData&>(colour).Serialize(archive);
    archive.FinishNode();
  }
  archive.FinishNode();
}

void SaveClassification(Data& archive, Object const& object) {
  auto const& name = object.As<data::classification::Name>();
  name.Serialize(archive);
  archive.SetNextName("value");
  archive.SaveText(name.GetValue());
}

void SaveColourSignature(Data& archive, Object const& object) {
  auto const& signature = object.As<data::ColourSignature>();
  signature.Serialize(archive);
  SaveColours(archive, signature);
}

void SaveSegmentedColourSignature(Data& archive, Object const& object) {
  auto const& segmented = object.As<data::SegmentedColourSignature>();
  segmented.Serialize(archive);
  archive.SetNextName("segments");
  archive.StartNode();
  for (auto const& [segment, signature] : segmented.GetSegments()) {
    std::string const name = type::ToString(segment);
    archive.SetNextName(name.c_str());
    archive.StartNode();
    signature.Serialize(archive);
    SaveColours(archive, signature);
    archive.FinishNode();
  }
  archive.FinishNode();
}

void SaveText(Data& archive, Object const& object) {
  auto const& text = object.As<data::Text>();
  text.Serialize(archive);
  archive.SetNextName("value");
  archive.SaveText(text.GetText());
  archive.SetNextName("category");
  archive.SaveText(text.GetCategory());
}

void SaveGone(Data& archive, Object const& object) {
  auto const& gone = object.As<data::object::Gone>();
  gone.Serialize(archive);
  archive.SetNextName("id");
  archive.SaveValue<unsigned int>(gone.GetId());
}

void SaveGroundPoint(Data& archive, Object const& object) {
  auto const& point = object.As<data::object::GroundPoint>();
  point.Serialize(archive);
  archive.SetNextName("value");
  archive.StartNode();
  geometry::normalized::Save(archive, point.GetValue());
  archive.FinishNode();
}

void SaveMerged(Data& archive, Object const& object) {
  auto const& merged = object.As<data::object::Merged>();
  merged.Serialize(archive);
  SaveIds(archive, "in_ids", merged.GetInIds());
  archive.SetNextName("out_id");
  archive.SaveValue<unsigned int>(merged.GetOutId());
}

void SaveSplit(Data& archive, Object const& object) {
  auto const& split = object.As<data::object::Split>();
  split.Serialize(archive);
  archive.SetNextName("in_id");
  archive.SaveValue<unsigned int>(split.GetInId());
  SaveIds(archive, "out_ids", split.GetOutIds());
}

void SaveTampered(Data& archive, Object const& object) { object.As<data::Tampered>().Serialize(archive); }

void SaveObservable(Data& archive, Object const& object) {
  auto const& observable = object.As<data::Observable>();
  observable.Serialize(archive);
  archive.SetNextName("id");
  archive.SaveValue<unsigned int>(observable.GetId());
}

void SaveArmed(Data& archive, Object const& object) {
  auto const& armed = object.As<data::Armed>();
  armed.Serialize(archive);
  archive.SetNextName("armed");
  archive.SaveValue<bool>(armed.Get());
}

void SavePixelCount(Data& archive, Object const& object) {
  auto const& pixels = object.As<data::object::PixelCount>();
  pixels.Serialize(archive);
  archive.SetNextName("value");
  archive.SaveValue<unsigned int>(pixels.GetValue());
}

void SaveCalibratedPosition(Data& archive, Object const& object) {
  auto const& position = object.As<data::object::CalibratedPosition>();
  position.Serialize(archive);
  archive.SetNextName("value");
  archive.StartNode();
  archive.SetNextName("x");
  archive.SaveValue<float>(position.GetValue().GetX());
  archive.SetNextName("y");
  archive.SaveValue<float>(position.GetValue().GetY());
  archive.FinishNode();
}

struct Group {
  hash::MurmurThree32 typeId;
  char const* key;
  Writer writer;
};

template <class Record>
constexpr hash::MurmurThree32 IdOf = orv::object::TypeIdOf<Record>;

// The kinds written, in the order written. The keys are not uniform on
// purpose: templates already depend on each of them.
constexpr Group kGroups[] = {
    {IdOf<data::object::Area>, "Area", &SaveFloatValue<data::object::Area>},
    {IdOf<data::Channel>, "Channel", &SaveWhole<data::Channel>},
    {IdOf<data::classification::Name>, "Classification", &SaveClassification},
    {IdOf<data::classification::Confidence>, "DLClassification", &SaveWhole<data::classification::Confidence>},
    {IdOf<data::ColourSignature>, "ColourSignature", &SaveColourSignature},
    {IdOf<data::SegmentedColourSignature>, "SegmentedColourSignature", &SaveSegmentedColourSignature},
    {IdOf<data::count::Value>, "Counter", &SaveWhole<data::count::Value>},
    {IdOf<data::Text>, "Text", &SaveText},
    {IdOf<data::count::Line>, "CountingLine", &SaveWhole<data::count::Line>},
    {IdOf<data::object::Gone>, "Gone", &SaveGone},
    {IdOf<data::GpuStats>, "GpuStats", &SaveWhole<data::GpuStats>},
    {IdOf<data::object::GroundPoint>, "GroundPoint", &SaveGroundPoint},
    {IdOf<data::object::Height>, "Height", &SaveFloatValue<data::object::Height>},
    {IdOf<data::object::History>, "History", &SaveWhole<data::object::History>},
    {IdOf<data::object::Merged>, "Merged", &SaveMerged},
    {IdOf<data::TrackedObject>, "Object", &SaveWhole<data::TrackedObject>},
    {IdOf<data::object::Speed>, "Speed", &SaveFloatValue<data::object::Speed>},
    {IdOf<data::object::Split>, "Split", &SaveSplit},
    {IdOf<data::Tampered>, "Tamper", &SaveTampered},
    {IdOf<data::Zone>, "Zone", &SaveWhole<data::Zone>},
    {IdOf<data::Observable>, "Observable", &SaveObservable},
    {IdOf<data::Armed>, "Armed", &SaveArmed},
    {IdOf<data::object::PixelCount>, "Pixels", &SavePixelCount},
    {IdOf<data::object::CalibratedPosition>, "CalibratedPosition", &SaveCalibratedPosition},
};
static_assert(std::size(kGroups) == 24);

}  // namespace

void Save(Data& archive, std::vector<std::shared_ptr<Object const>> const& objects) {
  std::vector<Object const*> matches;
  for (Group const& group : kGroups) {
    for (auto const& object : objects) {
      if (object->GetTypeNameId() == group.typeId) {
        matches.push_back(object.get());
      }
    }
    if (matches.empty()) {
      continue;
    }
    archive.SetNextName(group.key);
    archive.StartNode();
    archive.MakeArray(matches.size());
    for (Object const* match : matches) {
      archive.StartNode();
      group.writer(archive, *match);
      archive.FinishNode();
    }
    archive.FinishNode();
    matches.clear();
  }
}

}  // namespace orv::templating::serialize::archive::output

namespace orv::meta::data {

template <>
void ObjectBase::Save(templating::serialize::archive::output::Data& archive) const {
  Serialize(archive);
  archive.SetNextName("id");
  archive.SaveValue<unsigned int>(id_);
  archive.SetNextName("outline");
  archive.StartNode();
  outline_.Save(archive);
  archive.FinishNode();
  archive.SetNextName("width");
  geometry::normalized::SaveScalar(archive, width_);
  archive.SetNextName("height");
  geometry::normalized::SaveScalar(archive, height_);
  // "meta" is announced and then replaced by the first group's key: the
  // groups land in this object's own node, where templates look for them.
  archive.SetNextName("meta");
  templating::serialize::archive::output::Save(archive, meta_);
}

void SaveEvent(templating::serialize::archive::output::Data& archive, Event const& event) {
  // Everything that can fail on its own is fetched before anything is written.
  std::string const ip = detail::GetIPAddress();
  std::string const host = detail::GetHostName();
  TimePoint const end = event.GetEnd();
  TimePoint const start = event.GetStart();
  std::string const& type = event.GetType();
  std::string const& name = event.GetName();
  std::uint32_t const id = event.GetId();

  event.Serialize(archive);
  archive.SetNextName("id");
  archive.SaveValue<unsigned int>(id);
  archive.SetNextName("name");
  archive.SaveText(name);
  archive.SetNextName("type");
  archive.StartNode();
  archive.SetNextName("string");
  archive.SaveText(type);
  archive.SetNextName(type.c_str());
  archive.SaveValue<bool>(true);
  archive.FinishNode();
  archive.SetNextName("start");
  archive.StartNode();
  cereal::Save(archive, start);
  archive.FinishNode();
  archive.SetNextName("end");
  archive.StartNode();
  cereal::Save(archive, end);
  archive.FinishNode();
  archive.SetNextName("host");
  archive.SaveText(host);
  archive.SetNextName("ip");
  archive.SaveText(ip);
  templating::serialize::archive::output::Save(archive, event.GetObjects());
}

}  // namespace orv::meta::data

namespace orv::action {
namespace {

// Throws std::length_error when a tracked object of `objects`, or of their
// meta data, lies deeper than kMaxTrackedObjectDepth; `level` is the level
// of the tracked objects of `objects`. Recurses no deeper than the limit.
void CheckNesting(meta::data::Objects const& objects, std::size_t level) {
  for (auto const& object : objects) {
    if (object->GetTypeNameId() != orv::object::TypeIdOf<meta::data::TrackedObject>) {
      continue;
    }
    auto const& tracked = object->As<meta::data::TrackedObject>();
    if (level > kMaxTrackedObjectDepth) {
      throw std::length_error("tracked object " + std::to_string(tracked.GetId()) + " lies " + std::to_string(level) +
                              " levels deep in the event; tracked objects nest at most " +
                              std::to_string(kMaxTrackedObjectDepth) + " levels deep");
    }
    CheckNesting(tracked.GetMeta(), level + 1);
  }
}

}  // namespace

mstch::map SerializeEvent(std::shared_ptr<meta::data::Event const> const& event) {
  if (!event) {
    throw std::invalid_argument("SerializeEvent needs an event, not an empty pointer");
  }
  CheckNesting(event->GetObjects(), 1);
  mstch::map result;
  {
    templating::serialize::archive::output::Data archive(result);
    archive.SetNextName("the_event");
    archive.StartNode();
    meta::data::SaveEvent(archive, *event);
    archive.FinishNode();
  }
  return result;
}

}  // namespace orv::action
