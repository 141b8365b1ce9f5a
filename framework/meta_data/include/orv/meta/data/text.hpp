#pragma once

#include <string>
#include <utility>

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::meta::data {

// A free text attached to an event, with a category of the caller's choosing.
class ORV_META_DATA_API Text : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kText;

  Text(std::string text, std::string category)
      : Object(orv::object::TypeIdOf<Text>), text_(std::move(text)), category_(std::move(category)) {}

  std::string const& GetText() const noexcept { return text_; }
  std::string const& GetCategory() const noexcept { return category_; }

 private:
  std::string text_;
  std::string category_;
};

}  // namespace orv::meta::data
