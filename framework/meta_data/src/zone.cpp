#include "orv/meta/data/zone.hpp"

#include "orv/templating/serialize/archive/output/data.hpp"

namespace orv::meta::data {
namespace zone {

std::string ToString(Detection detection) { return type::ToString(detection); }

}  // namespace zone

void Zone::Save(templating::serialize::archive::output::Data& archive) const {
  std::string detection = zone::ToString(detection_);
  std::string type = type::ToString(type_);
  Serialize(archive);
  archive.SetNextName("id");
  archive.SaveValue<unsigned int>(id_);
  archive.SetNextName("name");
  archive.SaveText(name_);
  archive.SetNextName("channel");
  archive.SaveValue<unsigned int>(channel_);
  archive.SetNextName("colour");
  archive.StartNode();
  static constexpr char const* kComponents[] = {"r", "g", "b", "a"};
  for (std::size_t i = 0; i < colour_.size(); ++i) {
    archive.SetNextName(kComponents[i]);
    archive.SaveValue<unsigned int>(colour_[i]);
  }
  archive.FinishNode();
  archive.SetNextName("detection");
  archive.SaveText(std::move(detection));
  archive.SetNextName("type");
  archive.SaveText(std::move(type));
  archive.SetNextName("outline");
  archive.StartNode();
  geometry::SavePolygon(archive, outline_);
  archive.FinishNode();
  archive.SetNextName("mask");
  archive.SaveValue<bool>(mask_);
}

}  // namespace orv::meta::data

std::map<orv::meta::data::zone::Detection, std::string> const&
orv::type::Strings<orv::meta::data::zone::Detection>::GetMap() {
  using orv::meta::data::zone::Detection;
  static std::map<Detection, std::string> const map{
      {Detection::Presence, "presence"}, {Detection::Enter, "enter"},         {Detection::Exit, "exit"},
      {Detection::Appear, "appear"},     {Detection::Disappear, "disappear"}, {Detection::Stopped, "stopped"},
      {Detection::Dwell, "dwell"},       {Detection::Direction, "direction"},
  };
  return map;
}

std::map<orv::meta::data::zone::Type, std::string> const& orv::type::Strings<orv::meta::data::zone::Type>::GetMap() {
  using orv::meta::data::zone::Type;
  static std::map<Type, std::string> const map{
      {Type::Detection, "detection"},
      {Type::NonDetection, "non_detection"},
      {Type::Counting, "counting"},
  };
  return map;
}
