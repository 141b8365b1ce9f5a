#include "orv/meta/data/count/line.hpp"
#include "orv/meta/data/count/value.hpp"
#include "orv/templating/serialize/archive/output/data.hpp"

namespace orv::meta::data {
namespace line {

std::string ToString(Direction direction) { return type::ToString(direction); }

}  // namespace line

namespace count {

void Line::Save(templating::serialize::archive::output::Data& archive) const {
  std::string direction = line::ToString(direction_);
  Serialize(archive);
  archive.SetNextName("rule_id");
  archive.SaveValue<unsigned int>(ruleId_);
  archive.SetNextName("width");
  geometry::normalized::SaveScalar(archive, width_);
  archive.SetNextName("position");
  geometry::normalized::SaveScalar(archive, position_);
  archive.SetNextName("count");
  archive.SaveValue<unsigned int>(count_);
  archive.SetNextName("direction");
  archive.SaveText(std::move(direction));
  archive.SetNextName("zone_id");
  archive.SaveValue<unsigned int>(zoneId_);
}

void Value::Save(templating::serialize::archive::output::Data& archive) const {
  Serialize(archive);
  archive.SetNextName("id");
  archive.SaveValue<unsigned int>(id_);
  archive.SetNextName("name");
  archive.SaveText(name_);
  archive.SetNextName("value");
  archive.SaveValue<int>(value_);
  archive.SetNextName("difference");
  archive.SaveValue<int>(difference_);
  archive.SetNextName("position");
  archive.StartNode();
  geometry::normalized::Save(archive, position_);
  archive.FinishNode();
}

}  // namespace count
}  // namespace orv::meta::data

std::map<orv::meta::data::line::Direction, std::string> const&
orv::type::Strings<orv::meta::data::line::Direction>::GetMap() {
  using orv::meta::data::line::Direction;
  static std::map<Direction, std::string> const map{
      {Direction::AToB, "a_to_b"},
      {Direction::BToA, "b_to_a"},
      {Direction::Both, "both"},
  };
  return map;
}
