#pragma once

#include <memory>
#include <type_traits>

#include "orv/hash/murmur_three_32.hpp"
#include "orv/object/bad_cast.hpp"
#include "orv/object/export.hpp"
#include "orv/object/type_names.hpp"

namespace orv::templating::serialize::archive::output {
class Data;
}  // namespace orv::templating::serialize::archive::output

namespace orv::object {

// The type id of a class that derives from Object: the hash of its static
// `kTypeName`, computed at compile time.
template <class T>
inline constexpr hash::MurmurThree32 TypeIdOf{std::remove_cv_t<T>::kTypeName};

namespace detail {
// Throws the BadCast of a failed As<T>; out of line so the success path stays small.
[[noreturn]] ORV_OBJECT_API void ThrowBadCast(hash::MurmurThree32 const& from, char const* to);
}  // namespace detail

// The polymorphic base of every run-time typed value. An object carries the
// type id of its dotted type name, fixed at construction; identity is by that
// id, never by built-in run-time type information.
class ORV_OBJECT_API Object : public std::enable_shared_from_this<Object> {
 public:
  using Iterator = Object**;
  using ConstIterator = Object const* const*;

  explicit Object(hash::MurmurThree32 typeNameId) noexcept : typeNameId_(typeNameId) {}
  Object(Object const& other) noexcept = default;
  Object& operator=(Object const&) = delete;
  virtual ~Object();

  // The range of the object's children; empty unless a derived class has some.
  virtual ConstIterator Begin() const { return nullptr; }
  virtual Iterator Begin() { return nullptr; }
  virtual ConstIterator End() const { return nullptr; }
  virtual Iterator End() { return nullptr; }
  // Whether a value is required for this object; false unless a derived class says so.
  virtual bool GetRequired() const { return false; }
  // Assigns the value of `value`. The base holds no value and throws
  // std::logic_error naming both types.
  virtual void Set(Object const& value);
  // Value equality; the base compares identity (the very same object).
  virtual bool EqualTo(Object const& other) const { return this == &other; }

  hash::MurmurThree32 const& GetTypeNameId() const noexcept { return typeNameId_; }

  // Writes the object header into the node open in `archive`: "typename"
  // holding the type name, and the type marker "is" > "typename" > the dotted
  // type name > true. Throws std::logic_error with "The class has not been
  // registered: " and the demangled class name when the id has no type name.
  // Defined in orv::templating, which a caller links.
  void Serialize(templating::serialize::archive::output::Data& archive) const;

  // The registered type name of `id`, or null when no type has that id. Every
  // name of type_names.hpp is known from process start; others join through
  // AddTypeName.
  static char const* TypeName(hash::MurmurThree32 const& id);

  // Checked downcast by type id: returns this object as a T when its id is T's
  // id, and throws BadCast otherwise. The cast is exact: no base types are
  // walked.
  template <class T>
  T& As() {
    return const_cast<T&>(static_cast<Object const*>(this)->As<T>());
  }
  template <class T>
  T const& As() const {
    if (typeNameId_ != TypeIdOf<T>) {
      detail::ThrowBadCast(typeNameId_, std::remove_cv_t<T>::kTypeName);
    }
    return static_cast<T const&>(*this);
  }

 private:
  hash::MurmurThree32 const typeNameId_;
};

// Registers a type name beyond the built-in ones so that messages can name it.
// `name` must outlive the process (a string literal). Returns false when the
// id is already known (the first name for an id stays). Thread-safe.
ORV_OBJECT_API bool AddTypeName(char const* name);

}  // namespace orv::object
