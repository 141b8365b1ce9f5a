#pragma once

#include <memory>
#include <utility>

#include "orv/object/export.hpp"
#include "orv/object/object.hpp"

namespace orv::object {

template <class Base, class Pointee>
class Pointer;

// A typed object that shares one pointer together with the type id of what it
// points to ("orv.object.ConstPointer"). The pointee id is fixed by the first
// typed value and never changes afterwards; the all-zero id means untyped.
template <>
class ORV_OBJECT_API Pointer<Object, void const> : public Object {
 public:
  static constexpr char const* kTypeName = type_name::kObjectConstPointer;

  // An untyped, empty pointer.
  Pointer() noexcept : Object(TypeIdOf<Pointer>) {}
  // Shares `pointer`, an object of the type whose id is `pointee`.
  Pointer(std::shared_ptr<void const> pointer, hash::MurmurThree32 pointee) noexcept
      : Object(TypeIdOf<Pointer>), pointer_(std::move(pointer)), pointee_(pointee) {}
  Pointer(Pointer const&) = default;

  // Takes the pointer and pointee id of another "orv.object.ConstPointer"
  // (orv::object::BadCast otherwise), under the rule of Set below.
  void Set(Object const& other) override;

  // Never reports equality: false for every object but an "orv.object.Pointer",
  // for which the cast to this type throws orv::object::BadCast.
  bool EqualTo(Object const& other) const override;

  // Adopts `pointee` when untyped; otherwise throws std::invalid_argument when
  // `pointee` differs, leaving this pointer unchanged. Then shares `pointer`
  // (which may be empty).
  virtual void Set(std::shared_ptr<void const> pointer, hash::MurmurThree32 pointee);

  // The pointer as a T (which names its type in `kTypeName`): empty when
  // untyped; orv::object::BadCast when the pointee is of another type.
  template <class T>
  std::shared_ptr<T const> Get() const {
    if (pointee_.IsUntyped()) {
      return nullptr;
    }
    if (pointee_ != hash::MurmurThree32(T::kTypeName)) {
      ThrowWrongPointee();
    }
    return std::static_pointer_cast<T const>(pointer_);
  }

  std::shared_ptr<void const> const& GetPointer() const noexcept { return pointer_; }
  hash::MurmurThree32 const& GetPointee() const noexcept { return pointee_; }

  // Same address and same pointee id (ownership is not compared).
  bool operator==(Pointer const& other) const noexcept {
    return pointer_.get() == other.pointer_.get() && pointee_ == other.pointee_;
  }

 private:
  [[noreturn]] static void ThrowWrongPointee();

  std::shared_ptr<void const> pointer_;
  hash::MurmurThree32 pointee_;
};

// The pointer object that the observables property holds.
using ConstPointer = Pointer<Object, void const>;

}  // namespace orv::object
