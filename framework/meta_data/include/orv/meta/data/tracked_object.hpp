#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "orv/geometry/normalized.hpp"
#include "orv/geometry/polygon.hpp"
#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::templating::serialize::archive::output {
class Data;
}  // namespace orv::templating::serialize::archive::output

namespace orv::meta::data {

// A tracked object: one detected thing followed over time, with its outline,
// its size and the meta-data records about it (its speed, classification,
// history, further tracked objects, ...).
class ORV_META_DATA_API ObjectBase : public orv::object::Object {
 public:
  using Normalized = geometry::normalized::Value<unsigned short>;
  using Meta = std::vector<std::shared_ptr<orv::object::Object const>>;

  std::uint32_t GetId() const noexcept { return id_; }
  geometry::NormalizedPolygon const& GetOutline() const noexcept { return outline_; }
  Normalized GetWidth() const noexcept { return width_; }
  Normalized GetHeight() const noexcept { return height_; }
  Meta const& GetMeta() const noexcept { return meta_; }

  // Writes the object header, "id", "outline" (a node holding the polygon),
  // "width" and "height" (normalised values) and then the meta records'
  // groups, straight into the open node. Defined where the event writer lives,
  // for the archive of orv::templating.
  template <class Archive>
  void Save(Archive& archive) const;

 protected:
  ObjectBase(hash::MurmurThree32 typeNameId, std::uint32_t id, geometry::NormalizedPolygon outline, Normalized width,
             Normalized height, Meta meta)
      : Object(typeNameId),
        id_(id),
        outline_(std::move(outline)),
        width_(width),
        height_(height),
        meta_(std::move(meta)) {}

 private:
  std::uint32_t id_;
  geometry::NormalizedPolygon outline_;
  Normalized width_;
  Normalized height_;
  Meta meta_;
};

// The one instance of Save, for the archive of orv::templating; declared here
// so that every caller sees the same specialisation.
template <>
void ObjectBase::Save(templating::serialize::archive::output::Data& archive) const;

struct ObjectType {
  static constexpr char const* kTypeName = orv::object::type_name::kTrackedObject;
};

namespace detail {

// The tracked-object record of the kind named by `Tag::kTypeName`.
template <class Tag>
class ORV_META_DATA_API Object : public ObjectBase {
 public:
  static constexpr char const* kTypeName = Tag::kTypeName;

  Object(std::uint32_t id, geometry::NormalizedPolygon outline, Normalized width, Normalized height, Meta meta)
      : ObjectBase(orv::object::TypeIdOf<Object>, id, std::move(outline), width, height, std::move(meta)) {}
};

}  // namespace detail

using TrackedObject = detail::Object<ObjectType>;

}  // namespace orv::meta::data
