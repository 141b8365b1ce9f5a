#include "orv/object/pointer.hpp"

#include <stdexcept>

namespace orv::object {

void Pointer<Object, void const>::Set(Object const& other) {
  auto const& pointer = other.As<Pointer const>();
  Set(pointer.pointer_, pointer.pointee_);
}

bool Pointer<Object, void const>::EqualTo(Object const& other) const {
  // Checks for the non-const pointer type, then casts to this one: an
  // "orv.object.Pointer" fails the cast and throws. Never equal, on purpose.
  if (other.GetTypeNameId() != hash::MurmurThree32(type_name::kObjectPointer)) {
    return false;
  }
  return *this == other.As<Pointer const>();
}

void Pointer<Object, void const>::Set(std::shared_ptr<void const> pointer, hash::MurmurThree32 pointee) {
  if (pointee_.IsUntyped()) {
    pointee_ = pointee;
  } else if (pointee != pointee_) {
    throw std::invalid_argument("Cannot set value from pointer of different type");
  }
  pointer_ = std::move(pointer);
}

void Pointer<Object, void const>::ThrowWrongPointee() {
  throw BadCast("Stored pointer does not point to an object of the requested type");
}

}  // namespace orv::object
