#include "json_field.hpp"

#include <algorithm>
#include <cmath>

#include "errors.hpp"
#include "message_text.hpp"

namespace orv::tool {

JsonPath JsonField::Path() const {
  JsonPath path;
  for (Step const* step = step_.get(); step != nullptr; step = step->parent.get()) {
    path.push_back(step->at);
  }
  std::reverse(path.begin(), path.end());
  return path;
}

std::size_t JsonField::Offset() const { return FindValue(source_, Path()); }

std::string JsonField::Where() const { return source_.Place(Offset()) + ": " + ToText(Path()); }

void JsonField::Fail(std::string const& message) const { throw InputError(Where() + ": " + message); }

void JsonField::FailAt(std::size_t offset, std::string const& message) const {
  throw InputError(source_.Place(offset) + ": " + ToText(Path()) + ": " + message);
}

void JsonField::Expected(std::string const& what) const { Fail("expected " + what + ", found " + Quote(value_)); }

JsonField JsonField::Child(nlohmann::json const& value, std::variant<std::string, std::size_t> at) const {
  return JsonField(value, source_, std::make_shared<Step const>(Step{step_, std::move(at)}));
}

JsonField JsonField::operator[](char const* name) const {
  RequireObject();
  auto const found = value_.find(name);
  if (found == value_.end()) {
    Fail(std::string("missing field '") + name + "'");
  }
  return Child(*found, std::string(name));
}

bool JsonField::Has(char const* name) const {
  RequireObject();
  return value_.contains(name);
}

void JsonField::OnlyFields(std::initializer_list<std::string_view> known) const {
  RequireObject();
  for (auto const& [key, member] : value_.items()) {
    if (std::find(known.begin(), known.end(), key) == known.end()) {
      Child(member, key)
          .Fail("unknown field '" + Shorten(key) + "'; expected one of " + Join(std::vector<std::string_view>(known)));
    }
  }
}

std::vector<JsonField> JsonField::Elements() const {
  if (!value_.is_array()) {
    Expected("an array");
  }
  std::vector<JsonField> elements;
  elements.reserve(value_.size());
  for (std::size_t i = 0; i < value_.size(); ++i) {
    elements.push_back(Child(value_[i], i));
  }
  return elements;
}

std::vector<std::pair<std::string, JsonField>> JsonField::Members() const {
  RequireObject();
  std::vector<std::pair<std::string, JsonField>> members;
  for (auto const& [key, member] : value_.items()) {
    members.emplace_back(key, Child(member, key));
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
  // Just below the midpoint between the largest float and the next power of
  // two: anything up to it rounds to the largest float, not to infinity.
  constexpr double kLargest = 0x1.ffffffp+127;
  if (value_.is_number()) {
    double const value = value_.get<double>();
    constexpr double kFloatMax = std::numeric_limits<float>::max();
    if (std::abs(value) > kFloatMax && std::abs(value) < kLargest) {
      return value > 0 ? std::numeric_limits<float>::max() : -std::numeric_limits<float>::max();
    }
    if (std::abs(value) <= kFloatMax && (value == 0 || static_cast<float>(value) != 0)) {
      return static_cast<float>(value);
    }
  }
  Expected("a 32-bit float (0, or a magnitude from 1.4e-45 to 3.4028235e+38)");
}

std::int32_t JsonField::Int() const {
  constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
  if (value_.is_number_unsigned() && value_.get<std::uint64_t>() <= static_cast<std::uint64_t>(kMax)) {
    return static_cast<std::int32_t>(value_.get<std::uint64_t>());
  }
  if (value_.is_number_integer() && !value_.is_number_unsigned() && value_.get<std::int64_t>() >= kMin &&
      value_.get<std::int64_t>() <= kMax) {
    return static_cast<std::int32_t>(value_.get<std::int64_t>());
  }
  Expected("a signed 32-bit number (" + std::to_string(kMin) + " to " + std::to_string(kMax) + ")");
}

bool JsonField::FitsUnsigned(std::uint64_t max, std::uint64_t& value) const {
  if (value_.is_number_unsigned()) {
    value = value_.get<std::uint64_t>();
    return value <= max;
  }
  // The parser keeps "-0" as a signed 0.
  if (value_.is_number_integer() && value_.get<std::int64_t>() == 0) {
    value = 0;
    return true;
  }
  return false;
}

std::string JsonField::DescribeUnsigned(std::size_t bits, std::uint64_t max) {
  return "an unsigned " + std::to_string(bits) + "-bit number (0 to " + std::to_string(max) + ")";
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
