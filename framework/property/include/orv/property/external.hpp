#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "orv/object/pointer.hpp"
#include "orv/property/array.hpp"
#include "orv/property/context.hpp"
#include "orv/property/convert.hpp"
#include "orv/property/export.hpp"
#include "orv/property/primitive.hpp"

namespace orv::property {

namespace external {

// The type-erased forms of an owner's accessor functions.
using Setter = std::function<void(std::shared_ptr<void> owner, object::Object const& value)>;
using Getter = std::function<void(std::shared_ptr<void const> owner, object::Object& target)>;
using Element = std::function<void(std::shared_ptr<void> owner, object::Object const& element)>;
using ElementAt = std::function<void(std::shared_ptr<void> owner, unsigned long index, object::Object const& element)>;

// Scalar setter: checks the owner, converts the value, calls `set`.
template <class Owner, class T, class U>
Setter Set(void (*set)(Owner*, U)) {
  return [set](std::shared_ptr<void> owner, object::Object const& value) {
    context::Check(owner);
    set(static_cast<Owner*>(owner.get()), Convert<T>(value));
  };
}

// Scalar getter: writes the owner's value into the target property; does
// nothing (and checks nothing) without an owner.
template <class Owner, class T, class U>
Getter Get(U (*get)(Owner const*)) {
  return [get](std::shared_ptr<void const> owner, object::Object& target) {
    if (!owner) {
      return;
    }
    target.As<Primitive<T>>().Set(T(get(static_cast<Owner const*>(owner.get()))));
  };
}

// The pointee of a pointer object as an E.
template <class E>
std::shared_ptr<E const> Extract(object::Object const& element) {
  return element.As<object::ConstPointer const>().Get<E>();
}

// Array setter: checks the owner, unpacks every element of an array property.
template <class Owner, class E>
Setter SetArray(void (*set)(Owner*, std::vector<std::shared_ptr<E const>>)) {
  return [set](std::shared_ptr<void> owner, object::Object const& value) {
    context::Check(owner);
    auto const& elements = value.As<ObservableArray const>().GetElements();
    std::vector<std::shared_ptr<E const>> values;
    values.reserve(elements.size());
    for (auto const& element : elements) {
      values.push_back(element.Get<E>());
    }
    set(static_cast<Owner*>(owner.get()), std::move(values));
  };
}

// Array getter: assigns the owner's list to the target array property, which
// runs the target's Set.
template <class Owner, class E>
Getter GetArray(std::vector<std::shared_ptr<E const>> (*get)(Owner const*)) {
  return [get](std::shared_ptr<void const> owner, object::Object& target) {
    if (!owner) {
      return;
    }
    target.As<ObservableArray>() = get(static_cast<Owner const*>(owner.get()));
  };
}

template <class Owner, class E>
Element Add(void (*add)(Owner*, std::shared_ptr<E const>)) {
  return [add](std::shared_ptr<void> owner, object::Object const& element) {
    context::Check(owner);
    add(static_cast<Owner*>(owner.get()), Extract<E>(element));
  };
}

template <class Owner, class E>
Element Erase(void (*erase)(Owner*, std::shared_ptr<E const>)) {
  return [erase](std::shared_ptr<void> owner, object::Object const& element) {
    context::Check(owner);
    erase(static_cast<Owner*>(owner.get()), Extract<E>(element));
  };
}

template <class Owner, class E>
ElementAt SetAt(void (*setAt)(Owner*, unsigned long, std::shared_ptr<E const>)) {
  return [setAt](std::shared_ptr<void> owner, unsigned long index, object::Object const& element) {
    context::Check(owner);
    setAt(static_cast<Owner*>(owner.get()), index, Extract<E>(element));
  };
}

namespace detail {
[[noreturn]] ORV_PROPERTY_API void ThrowMissing(char const* message);
inline constexpr char kMissingGet[] = "Must provide a get structure function for an external property";
inline constexpr char kMissingSet[] = "Must provide a set structure function for an external property";
inline constexpr char kMissingAdd[] = "Must provide a add structure function for an external property";
inline constexpr char kMissingErase[] = "Must provide a erase structure function for an external property";
inline constexpr char kMissingSetAt[] = "Must provide a set at structure function for an external property";
inline constexpr char kNoAdd[] = "An add function has not been supplied for this external";
inline constexpr char kNoErase[] = "A erase function has not been supplied for this external";
inline constexpr char kNoSetAt[] = "An set at function has not been supplied for this external";

// The owner's value, or `T()` without an owner; the get function is checked
// before anything is built.
template <class T, class Owner, class Get>
T InitialValue(std::shared_ptr<Owner> const& owner, Get get) {
  if (get == nullptr) {
    ThrowMissing(kMissingGet);
  }
  return owner ? T(get(owner.get())) : T();
}

// The owner of an external property and the wrapped functions that write its
// value into the owner and read it back.
struct Link {
  std::shared_ptr<void> owner;
  Setter set;
  Getter get;

  // Passes `value` to the owner's set function, if any; the owner is passed
  // even when empty, for the set function's context check to refuse.
  void Push(object::Object const& value) const {
    if (set) {
      set(owner, value);
    }
  }
  // Refreshes `target` from the owner through the get function, if any.
  void Refresh(object::Object& target) const {
    if (get) {
      get(owner, target);
    }
  }
  // Replaces the owner; with Direction::ToOwner and an owner, pushes `value` into it.
  void Bind(std::shared_ptr<void> newOwner, context::Direction direction, object::Object const& value) {
    owner = std::move(newOwner);
    if (direction == context::Direction::ToOwner && owner) {
      Push(value);
    }
  }
};
}  // namespace detail

}  // namespace external

// A property whose value lives in an owning object and is reached through the
// owner's accessor functions: every Set is forwarded to the owner, GetObject
// refreshes the value from it. Without an owner the property keeps its own
// value, and writes are refused by context::Check.
//
// External<bool> and External<std::string> are scalars;
// External<Property::Observables> is an array of observables.
template <class T>
class ORV_PROPERTY_API External : public Primitive<T> {
 public:
  template <class Owner>
  External(std::string name, std::shared_ptr<Owner> owner, void (*set)(Owner*, T), T (*get)(Owner const*),
           std::string description)
      : Primitive<T>(std::move(name), external::detail::InitialValue<T>(owner, get), std::move(description), ""),
        link_{std::move(owner), nullptr, nullptr} {
    if (set == nullptr) {
      external::detail::ThrowMissing(external::detail::kMissingSet);
    }
    link_.set = external::Set<Owner, T>(set);
    link_.get = external::Get<Owner, T>(get);
  }
  External(External const&) = default;

  using Primitive<T>::Set;

  // Stores the value, then passes it to the owner.
  void Set(object::Object const& value) override {
    Primitive<T>::Set(value);
    link_.Push(value);
  }

  // Refreshes the value from the owner, if any, and returns this property.
  object::Object const& GetObject() const override {
    // The stored value is a cache of the owner's.
    link_.Refresh(const_cast<External&>(*this));
    return *this;
  }

  // The owner's value in a plain Primitive<T>; nothing is written anywhere.
  std::shared_ptr<Property const> Read() const override {
    auto value = std::make_shared<Primitive<T>>(static_cast<Primitive<T> const&>(*this));
    link_.Refresh(*value);
    return value;
  }

  // A scalar has no elements: the base refuses.
  void Add(object::Object& element) override {
    Property::Add(element);
    throw std::logic_error(external::detail::kNoAdd);
  }
  void Erase(object::Object& element) override {
    Property::Erase(element);
    throw std::logic_error(external::detail::kNoErase);
  }
  void SetAt(unsigned long index, object::Object& element) override {
    Property::SetAt(index, element);
    throw std::logic_error(external::detail::kNoSetAt);
  }

  std::shared_ptr<Property> Clone() const override { return std::make_shared<External>(*this); }

  // Replaces the owner; with Direction::ToOwner and an owner, pushes the
  // current value into it.
  void Bind(std::shared_ptr<void> owner, context::Direction direction) {
    link_.Bind(std::move(owner), direction, *this);
  }

  std::shared_ptr<void> const& GetOwner() const noexcept { return link_.owner; }

 private:
  external::detail::Link link_;
};

template <>
class ORV_PROPERTY_API External<Property::Observables> : public ObservableArray {
 public:
  using Observable = observable::Observable;

  template <class Owner>
  External(std::string name, std::shared_ptr<Owner> owner, void (*set)(Owner*, Observables),
           Observables (*get)(Owner const*), void (*add)(Owner*, std::shared_ptr<Observable const>),
           void (*erase)(Owner*, std::shared_ptr<Observable const>),
           void (*setAt)(Owner*, unsigned long, std::shared_ptr<Observable const>), std::string description)
      : ObservableArray(std::move(name), external::detail::InitialValue<Observables>(owner, get),
                        std::move(description), ""),
        link_{std::move(owner), nullptr, nullptr} {
    if (set == nullptr) {
      external::detail::ThrowMissing(external::detail::kMissingSet);
    }
    if (add == nullptr) {
      external::detail::ThrowMissing(external::detail::kMissingAdd);
    }
    if (erase == nullptr) {
      external::detail::ThrowMissing(external::detail::kMissingErase);
    }
    if (setAt == nullptr) {
      external::detail::ThrowMissing(external::detail::kMissingSetAt);
    }
    link_.set = external::SetArray<Owner, Observable>(set);
    link_.get = external::GetArray<Owner, Observable>(get);
    add_ = external::Add<Owner, Observable>(add);
    erase_ = external::Erase<Owner, Observable>(erase);
    setAt_ = external::SetAt<Owner, Observable>(setAt);
  }
  External(External const&) = default;

  using ObservableArray::operator=;

  // Stores the list, then passes it to the owner.
  void Set(object::Object const& value) override {
    ObservableArray::Set(value);
    link_.Push(value);
  }

  // Refreshes the list from the owner, if any, and returns this property.
  // The refresh assigns through Set, so it also writes the same list back
  // into the owner, which re-subscribes an action: use Read to only read.
  object::Object const& GetObject() const override {
    // The stored list is a cache of the owner's.
    link_.Refresh(const_cast<External&>(*this));
    return *this;
  }

  // The owner's list in a plain array property, whose assignment stores the
  // list and calls no owner: nothing is written anywhere.
  std::shared_ptr<Property const> Read() const override {
    auto value = std::make_shared<ObservableArray>(static_cast<ObservableArray const&>(*this));
    link_.Refresh(*value);
    return value;
  }

  // Appends locally first, then passes the element to the owner.
  void Add(object::Object& element) override {
    Append(element.As<object::ConstPointer>());
    if (!add_) {
      throw std::logic_error(external::detail::kNoAdd);
    }
    add_(link_.owner, element);
  }

  // Removes locally first, then passes the element to the owner.
  void Erase(object::Object& element) override {
    ObservableArray::Erase(element);
    if (!erase_) {
      throw std::logic_error(external::detail::kNoErase);
    }
    erase_(link_.owner, element);
  }

  // Replaces locally first (std::out_of_range past the end, nothing changed),
  // then passes the element to the owner.
  void SetAt(unsigned long index, object::Object& element) override {
    Replace(index, element.As<object::ConstPointer>());
    if (!setAt_) {
      throw std::logic_error(external::detail::kNoSetAt);
    }
    setAt_(link_.owner, index, element);
  }

  std::shared_ptr<Property> Clone() const override { return std::make_shared<External>(*this); }

  // Replaces the owner; with Direction::ToOwner and an owner, pushes the
  // current list into it.
  void Bind(std::shared_ptr<void> owner, context::Direction direction) {
    link_.Bind(std::move(owner), direction, *this);
  }

  std::shared_ptr<void> const& GetOwner() const noexcept { return link_.owner; }

 private:
  external::detail::Link link_;
  external::Element add_;
  external::Element erase_;
  external::ElementAt setAt_;
};

}  // namespace orv::property
