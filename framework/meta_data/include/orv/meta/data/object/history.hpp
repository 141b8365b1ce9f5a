#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "orv/chrono/iso8601.hpp"
#include "orv/meta/data/export.hpp"
#include "orv/meta/data/object/ground_point.hpp"

namespace orv::meta::data::object {

// Where a tracked object has been: its ground points by time.
class ORV_META_DATA_API History : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kHistory;

  History(std::uint32_t objectId, std::map<chrono::TimePoint, GroundPoint> objects)
      : Object(orv::object::TypeIdOf<History>), objectId_(objectId), objects_(std::move(objects)) {}

  // The tracked object.
  std::uint32_t GetId() const noexcept { return objectId_; }
  // In ascending time.
  std::map<chrono::TimePoint, GroundPoint> const& GetObjects() const noexcept { return objects_; }

  // Writes the object header, "map" (an array, in ascending time, of nodes
  // holding "key", the time, and "value", the ground point's object header
  // and its "value" point) and "object_id" into the open node.
  void Save(templating::serialize::archive::output::Data& archive) const;

 private:
  std::uint32_t objectId_;
  std::map<chrono::TimePoint, GroundPoint> objects_;
};

}  // namespace orv::meta::data::object
