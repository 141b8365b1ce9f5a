#pragma once

#include <cstdint>
#include <string>

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::templating::serialize::archive::output {
class Data;
}  // namespace orv::templating::serialize::archive::output

namespace orv::meta::data {

// The video channel an event was raised on.
class ORV_META_DATA_API Channel : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kChannel;

  Channel(std::uint32_t id, std::string name)
      : Object(orv::object::TypeIdOf<Channel>), id_(id), name_(std::move(name)) {}

  std::uint32_t GetId() const noexcept { return id_; }
  std::string const& GetName() const noexcept { return name_; }

  // Writes the object header, "id" and "name" into the open node.
  void Save(templating::serialize::archive::output::Data& archive) const;

 private:
  std::uint32_t id_;
  std::string name_;
};

}  // namespace orv::meta::data
