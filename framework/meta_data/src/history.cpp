#include "orv/meta/data/object/history.hpp"

#include "orv/chrono/save.hpp"
#include "orv/templating/serialize/archive/output/data.hpp"

namespace orv::meta::data::object {

void History::Save(templating::serialize::archive::output::Data& archive) const {
  Serialize(archive);
  archive.SetNextName("map");
  archive.StartNode();
  archive.MakeArray(objects_.size());
  for (auto const& [time, groundPoint] : objects_) {
    archive.StartNode();
    archive.SetNextName("key");
    archive.StartNode();
    cereal::Save(archive, time);
    archive.FinishNode();
    archive.SetNextName("value");
    archive.StartNode();
    groundPoint.Serialize(archive);
    archive.SetNextName("value");
    archive.StartNode();
    geometry::normalized::Save(archive, groundPoint.GetValue());
    archive.FinishNode();
    archive.FinishNode();
    archive.FinishNode();
  }
  archive.FinishNode();
  archive.SetNextName("object_id");
  archive.SaveValue<unsigned int>(objectId_);
}

}  // namespace orv::meta::data::object
