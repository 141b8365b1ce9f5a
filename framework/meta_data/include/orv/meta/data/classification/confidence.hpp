#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::templating::serialize::archive::output {
class Data;
}  // namespace orv::templating::serialize::archive::output

namespace orv::meta::data::classification {

// A deep-learning classification of a tracked object, with its confidence.
class ORV_META_DATA_API Confidence : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kClassificationConfidence;

  Confidence(std::string cls, float confidence, std::uint32_t objectId)
      : Object(orv::object::TypeIdOf<Confidence>),
        class_(std::move(cls)),
        confidence_(confidence),
        objectId_(objectId) {}

  std::string const& GetClass() const noexcept { return class_; }
  // From 0 to 1.
  float GetConfidence() const noexcept { return confidence_; }
  // The tracked object classified.
  std::uint32_t GetObjectId() const noexcept { return objectId_; }

  // Writes the object header, "class", "confidence" (six significant digits)
  // and "object_id" into the open node.
  void Save(templating::serialize::archive::output::Data& archive) const;

 private:
  std::string class_;
  float confidence_;
  std::uint32_t objectId_;
};

}  // namespace orv::meta::data::classification
