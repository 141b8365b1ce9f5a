#include "orv/property/array.hpp"

#include <algorithm>

namespace orv::property::array::detail {
namespace {

hash::MurmurThree32 const kObservable(object::type_name::kObservable);

}  // namespace

Impl<object::ConstPointer>::Impl(std::string name, Observables const& values, std::string description,
                                 std::string extra)
    : Property(object::TypeIdOf<Impl>, std::move(name), std::move(description), std::move(extra)),
      elementType_(kObservable) {
  elements_.reserve(values.size());
  for (auto const& value : values) {
    elements_.emplace_back(value, kObservable);
  }
}

Impl<object::ConstPointer>::~Impl() = default;

void Impl<object::ConstPointer>::Set(object::Object const& value) {
  Elements copy(value.As<Impl const>().elements_);
  elements_.swap(copy);
}

bool Impl<object::ConstPointer>::EqualTo(object::Object const& other) const {
  if (other.GetTypeNameId() != GetTypeNameId()) {
    return false;
  }
  auto const& array = other.As<Impl const>();
  return std::equal(elements_.begin(), elements_.end(), array.elements_.begin(), array.elements_.end()) &&
         elementType_ == array.elementType_ && Property::operator==(array);
}

std::ostream& Impl<object::ConstPointer>::DescribeValidValues(std::ostream& out) const {
  return out << "Any valid array";
}

void Impl<object::ConstPointer>::SetAt(unsigned long index, object::Object& element) {
  Replace(index, element.As<object::ConstPointer>());
}

void Impl<object::ConstPointer>::Replace(unsigned long index, object::ConstPointer const& element) {
  // The checked access throws the standard library's own out_of_range.
  elements_.at(index).Set(element.GetPointer(), element.GetPointee());
}

void Impl<object::ConstPointer>::Add(object::Object& element) { Append(element.As<object::ConstPointer>()); }

void Impl<object::ConstPointer>::Erase(object::Object& element) {
  auto const& unwanted = element.As<object::ConstPointer>();
  // Survivors move down through Set, so the pointee rule guards every move.
  std::size_t kept = 0;
  for (std::size_t i = 0; i < elements_.size(); ++i) {
    if (elements_[i] == unwanted) {
      continue;
    }
    if (kept != i) {
      elements_[kept].Set(elements_[i].GetPointer(), elements_[i].GetPointee());
    }
    ++kept;
  }
  while (elements_.size() > kept) {
    elements_.pop_back();
  }
}

std::shared_ptr<Property> Impl<object::ConstPointer>::Clone() const { return std::make_shared<Impl>(*this); }

}  // namespace orv::property::array::detail
