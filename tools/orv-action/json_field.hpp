#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json_input.hpp"
#include "source_text.hpp"

namespace orv::tool {

// One value of a parsed JSON input together with where it is (the input and
// the path to it), so that every complaint about it names the place:
// "<name>:<line>:<column>: <path>: <message>", the line and column being
// where the value starts. All failures throw InputError. The position is
// looked up only when a message needs it.
class JsonField {
 public:
  // The root of `document`, parsed by ParseJson from `source`; both must
  // outlive this field and every field made from it.
  JsonField(nlohmann::json const& document, SourceText const& source) : value_(document), source_(source) {}

  [[noreturn]] void Fail(std::string const& message) const;
  // Fails with "expected <what>, found <the value, shortened>".
  [[noreturn]] void Expected(std::string const& what) const;
  // Fails naming the byte at `offset` of the source instead of the value's start.
  [[noreturn]] void FailAt(std::size_t offset, std::string const& message) const;

  nlohmann::json const& Value() const noexcept { return value_; }
  SourceText const& Source() const noexcept { return source_; }
  JsonPath Path() const;
  // The offset of the value's first byte in the source text.
  std::size_t Offset() const;
  // "<name>:<line>:<column>: <path>", the start of every message about the value.
  std::string Where() const;

  // The member `name` of this object; fails when there is none.
  JsonField operator[](char const* name) const;
  bool Has(char const* name) const;
  // Refuses members other than `known`, which catches misspelt field names.
  void OnlyFields(std::initializer_list<std::string_view> known) const;
  std::vector<JsonField> Elements() const;
  std::vector<std::pair<std::string, JsonField>> Members() const;

  std::string String() const;
  bool Bool() const;
  // A number that a float holds: 0 or a magnitude that neither overflows to
  // infinity nor underflows to 0.
  float Float() const;
  std::int32_t Int() const;
  // An integer from 0 to the largest T (an unsigned type); "-0" is 0. `what`
  // describes the value in the message; by default "an unsigned <bits>-bit
  // number (0 to <largest>)".
  template <class T>
  T Unsigned(std::string const& what = {}) const {
    std::uint64_t value = 0;
    if (!FitsUnsigned(std::numeric_limits<T>::max(), value)) {
      Expected(what.empty() ? DescribeUnsigned(sizeof(T) * 8, std::numeric_limits<T>::max()) : what);
    }
    return static_cast<T>(value);
  }
  std::uint32_t Id() const { return Unsigned<std::uint32_t>(); }
  std::vector<std::uint32_t> Ids() const;

 private:
  // One step from the root; fields share the steps of their parents.
  struct Step {
    std::shared_ptr<Step const> parent;
    std::variant<std::string, std::size_t> at;
  };

  JsonField(nlohmann::json const& value, SourceText const& source, std::shared_ptr<Step const> step)
      : value_(value), source_(source), step_(std::move(step)) {}
  JsonField Child(nlohmann::json const& value, std::variant<std::string, std::size_t> at) const;
  void RequireObject() const;
  bool FitsUnsigned(std::uint64_t max, std::uint64_t& value) const;
  static std::string DescribeUnsigned(std::size_t bits, std::uint64_t max);

  nlohmann::json const& value_;
  SourceText const& source_;
  std::shared_ptr<Step const> step_;  // empty for the root
};

}  // namespace orv::tool
