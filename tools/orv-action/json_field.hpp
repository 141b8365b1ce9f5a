#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orv::tool {

// One value of a JSON input together with where it is (the input's name and
// the JSON path), so that every complaint about it names the place:
// "<source>: <path>: expected ..., found ...". All failures throw InputError.
class JsonField {
 public:
  JsonField(nlohmann::json const& value, std::string path, std::string source)
      : value_(value), path_(std::move(path)), source_(std::move(source)) {}

  [[noreturn]] void Fail(std::string const& message) const;
  // Fails with "expected <what>, found <the value>".
  [[noreturn]] void Expected(std::string const& what) const;

  nlohmann::json const& Value() const noexcept { return value_; }
  std::string const& Path() const noexcept { return path_; }
  std::string const& Source() const noexcept { return source_; }

  // The member `name` of this object; fails when there is none.
  JsonField operator[](char const* name) const;
  bool Has(char const* name) const;
  // Refuses members other than `known`, which catches misspelt field names.
  void OnlyFields(std::initializer_list<std::string_view> known) const;
  std::vector<JsonField> Elements() const;
  std::vector<std::pair<std::string, JsonField>> Members() const;

  std::string String() const;
  bool Bool() const;
  float Float() const;
  std::int32_t Int() const;
  // An unsigned number no larger than T holds; `what` names it in messages.
  template <class T>
  T Unsigned(char const* what) const {
    if (!value_.is_number_unsigned() || value_.get<std::uint64_t>() > std::numeric_limits<T>::max()) {
      Expected(what);
    }
    return static_cast<T>(value_.get<std::uint64_t>());
  }
  std::uint32_t Id() const { return Unsigned<std::uint32_t>("an unsigned 32-bit number"); }
  std::vector<std::uint32_t> Ids() const;

 private:
  void RequireObject() const;

  nlohmann::json const& value_;
  std::string path_;
  std::string source_;
};

}  // namespace orv::tool
