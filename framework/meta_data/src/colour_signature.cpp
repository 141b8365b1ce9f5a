#include "orv/meta/data/colour_signature.hpp"

#include "orv/meta/data/segmented_colour_signature.hpp"
#include "orv/templating/serialize/archive/output/data.hpp"

namespace orv::meta::data {

void ColourSignature::ColourData::Serialize(templating::serialize::archive::output::Data& archive) {
  archive.SetNextName("colour_name");
  archive.SaveText(name_);
  archive.SetNextName("colour_value");
  archive.StartNode();
  // Components are numbers, never characters.
  archive.SetNextName("r");
  archive.SaveValue<int>(r_);
  archive.SetNextName("g");
  archive.SaveValue<int>(g_);
  archive.SetNextName("b");
  archive.SaveValue<int>(b_);
  archive.FinishNode();
  archive.SetNextName("proportion");
  archive.SaveValue<float>(proportion_);
}

}  // namespace orv::meta::data

std::map<orv::meta::data::SegmentedColourSignature::Segment, std::string> const&
orv::type::Strings<orv::meta::data::SegmentedColourSignature::Segment>::GetMap() {
  using Segment = orv::meta::data::SegmentedColourSignature::Segment;
  static std::map<Segment, std::string> const map{
      {Segment::Full, "full"},
      {Segment::Upper, "upper"},
      {Segment::Lower, "lower"},
  };
  return map;
}
