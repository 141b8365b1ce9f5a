#include "orv/meta/data/channel.hpp"
#include "orv/meta/data/classification/confidence.hpp"
#include "orv/meta/data/gpu_stats.hpp"
#include "orv/templating/serialize/archive/output/data.hpp"

namespace orv::meta::data {

void Channel::Save(templating::serialize::archive::output::Data& archive) const {
  Serialize(archive);
  archive.SetNextName("id");
  archive.SaveValue<unsigned int>(id_);
  archive.SetNextName("name");
  archive.SaveText(name_);
}

void GpuStats::Save(templating::serialize::archive::output::Data& archive) const {
  Serialize(archive);
  archive.SetNextName("utilisation");
  archive.SaveValue<unsigned int>(utilisation_);
  archive.SetNextName("memory_used");
  archive.SaveValue<std::uint64_t>(memoryUsed_);
}

namespace classification {

void Confidence::Save(templating::serialize::archive::output::Data& archive) const {
  Serialize(archive);
  archive.SetNextName("class");
  archive.SaveText(class_);
  archive.SetNextName("confidence");
  archive.SaveValue<float>(confidence_);
  archive.SetNextName("object_id");
  archive.SaveValue<unsigned int>(objectId_);
}

}  // namespace classification
}  // namespace orv::meta::data
