#pragma once

#include <cstdint>
#include <string>

#include "orv/object/object.hpp"

namespace orv::meta::data {

// The video channel an event was raised on.
class Channel : public object::Object {
 public:
  static constexpr char const* kTypeName = object::type_name::kChannel;

  Channel(std::uint32_t id, std::string name) : Object(object::TypeIdOf<Channel>), id_(id), name_(std::move(name)) {}

  std::uint32_t GetId() const noexcept { return id_; }
  std::string const& GetName() const noexcept { return name_; }

 private:
  std::uint32_t id_;
  std::string name_;
};

}  // namespace orv::meta::data
