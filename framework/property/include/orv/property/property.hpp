#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "orv/object/object.hpp"
#include "orv/property/export.hpp"

namespace orv::observable {
class Observable;
}

namespace orv::property {

// A configurable setting: a typed object with a name, a description and an
// extra text, holding a current value in a derived class. Scalars (Primitive)
// refuse the element operations Add, Erase and SetAt; arrays provide them.
class ORV_PROPERTY_API Property : public object::Object {
 public:
  using Observables = std::vector<std::shared_ptr<observable::Observable const>>;

  Property(hash::MurmurThree32 typeNameId, std::string name, std::string description, std::string extra);
  Property(Property const&) = default;
  ~Property() override;

  std::string const& GetName() const noexcept { return name_; }
  std::string const& GetDescription() const noexcept { return description_; }
  std::string const& GetExtra() const noexcept { return extra_; }

  // Whether the value is a secret (a password, a token): hosts never show it
  // and print "***" in its place. Copies and clones keep the mark, so the
  // live properties made from a schema are secret when its template property
  // is. Not part of the comparison.
  bool IsSecret() const noexcept { return secret_; }
  void SetSecret(bool secret) noexcept { secret_ = secret; }

  // Writes what values the property accepts.
  virtual std::ostream& DescribeValidValues(std::ostream& out) const = 0;
  // Element operations of array properties; on a scalar they throw
  // std::logic_error naming the property.
  virtual void SetAt(unsigned long index, object::Object& element);
  virtual void Add(object::Object& element);
  virtual void Erase(object::Object& element);
  // The current value (the property itself); a property whose value lives
  // elsewhere refreshes it first.
  virtual object::Object const& GetObject() const;
  // A copy of this property, of the same concrete type.
  virtual std::shared_ptr<Property> Clone() const = 0;
  // The current value as a new property of the same value type and texts,
  // read from the owner when the value lives elsewhere. Unlike GetObject it
  // only reads: it changes neither this property nor its owner, so a host may
  // read an action's properties while events are delivered to it. The base
  // returns a Clone.
  virtual std::shared_ptr<Property const> Read() const;

  // Fills an array property from plain observables through the virtual
  // Set(Object const&), so a derived class's override runs. A scalar refuses
  // it (orv::type::BadCast).
  Property& operator=(Observables values);

  // Compares the parts every property has: type id, name, description and extra text.
  bool operator==(Property const& other) const noexcept;

 private:
  std::string name_;
  std::string description_;
  std::string extra_;
  bool secret_ = false;
};

}  // namespace orv::property
