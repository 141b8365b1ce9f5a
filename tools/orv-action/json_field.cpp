#include "json_field.hpp"

#include <algorithm>

#include "command_line.hpp"

namespace orv::tool {
namespace {

std::string Shorten(nlohmann::json const& value) {
  std::string text = value.dump();
  return text.size() > 60 ? text.substr(0, 57) + "..." : text;
}

}  // namespace

void JsonField::Fail(std::string const& message) const { throw InputError(source_ + ": " + path_ + ": " + message); }

void JsonField::Expected(std::string const& what) const { Fail("expected " + what + ", found " + Shorten(value_)); }

JsonField JsonField::operator[](char const* name) const {
  RequireObject();
  auto const found = value_.find(name);
  if (found == value_.end()) {
    Fail(std::string("missing field '") + name + "'");
  }
  return JsonField(*found, path_ + "." + name, source_);
}

bool JsonField::Has(char const* name) const {
  RequireObject();
  return value_.contains(name);
}

void JsonField::OnlyFields(std::initializer_list<std::string_view> known) const {
  RequireObject();
  for (auto const& [key, member] : value_.items()) {
    if (std::find(known.begin(), known.end(), key) == known.end()) {
      JsonField(member, path_ + "." + key, source_)
          .Fail("unknown field '" + key + "'; expected one of " + Join(std::vector<std::string_view>(known)));
    }
  }
}

std::vector<JsonField> JsonField::Elements() const {
  if (!value_.is_array()) {
    Expected("an array");
  }
  std::vector<JsonField> elements;
  for (std::size_t i = 0; i < value_.size(); ++i) {
    elements.emplace_back(value_[i], path_ + "[" + std::to_string(i) + "]", source_);
  }
  return elements;
}

std::vector<std::pair<std::string, JsonField>> JsonField::Members() const {
  RequireObject();
  std::vector<std::pair<std::string, JsonField>> members;
  for (auto const& [key, member] : value_.items()) {
    members.emplace_back(key, JsonField(member, path_ + "." + key, source_));
  }
  return members;
}

std::string JsonField::String() const {
  if (!value_.is_string()) {
    Expected("a string");
  }
  return value_.get<std::string>();
}

bool JsonField::Bool() const {
  if (!value_.is_boolean()) {
    Expected("true or false");
  }
  return value_.get<bool>();
}

float JsonField::Float() const {
  if (!value_.is_number()) {
    Expected("a number");
  }
  return static_cast<float>(value_.get<double>());
}

std::int32_t JsonField::Int() const {
  if (!value_.is_number_integer() || value_.get<std::int64_t>() < std::numeric_limits<std::int32_t>::min() ||
      value_.get<std::int64_t>() > std::numeric_limits<std::int32_t>::max()) {
    Expected("a signed 32-bit number");
  }
  return static_cast<std::int32_t>(value_.get<std::int64_t>());
}

std::vector<std::uint32_t> JsonField::Ids() const {
  std::vector<std::uint32_t> ids;
  for (JsonField const& element : Elements()) {
    ids.push_back(element.Id());
  }
  return ids;
}

void JsonField::RequireObject() const {
  if (!value_.is_object()) {
    Expected("an object");
  }
}

}  // namespace orv::tool
