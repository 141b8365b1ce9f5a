#include <boost/variant/get.hpp>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "orv/templating/serialize/archive/output/data.hpp"
#include "orv/templating/serialize/number_text.hpp"

namespace orv::templating::serialize::archive::output {

Data::Data(mstch::map& root) : OutputArchive<Data>(this), root_(root) {
  frames_.push_back(Frame{nullptr, Kind::kObject});
}

Data::~Data() = default;

void Data::SetNextName(char const* name) { nextName_.assign(name); }

std::string Data::GetNextName() {
  // A copy, not the pending name's own buffer: that may have grown for a
  // longer name, and every key of the tree would keep the excess.
  std::string name(nextName_);
  nextName_.clear();
  return name;
}

mstch::map& Data::OpenMap() {
  Frame const& top = frames_.back();
  if (top.node == nullptr) {
    return root_;
  }
  return boost::get<mstch::map>(*top.node);
}

mstch::array& Data::OpenArray() {
  Frame const& top = frames_.back();
  if (top.node == nullptr) {
    // The root is a map and stays one.
    throw boost::bad_get();
  }
  return boost::get<mstch::array>(*top.node);
}

template <class V>
void Data::Put(V&& value) {
  if (frames_.back().kind == Kind::kArray) {
    OpenArray().emplace_back(std::forward<V>(value));
    return;
  }
  mstch::map& map = OpenMap();
  std::string name = GetNextName();
  auto const slot = map.lower_bound(name);
  if (slot != map.end() && slot->first == name) {
    slot->second = std::forward<V>(value);
  } else {
    map.emplace_hint(slot, std::piecewise_construct, std::forward_as_tuple(std::move(name)),
                     std::forward_as_tuple(std::forward<V>(value)));
  }
}

void Data::StartNode() {
  if (frames_.back().kind == Kind::kArray) {
    mstch::array& array = OpenArray();
    array.emplace_back(mstch::map{});
    frames_.push_back(Frame{&array.back(), Kind::kObject});
    return;
  }
  mstch::map& map = OpenMap();
  std::string name = GetNextName();
  auto slot = map.lower_bound(name);
  if (slot != map.end() && slot->first == name) {
    slot->second = mstch::map{};
  } else {
    slot = map.emplace_hint(slot, std::piecewise_construct, std::forward_as_tuple(std::move(name)),
                            std::forward_as_tuple(mstch::map{}));
  }
  frames_.push_back(Frame{&slot->second, Kind::kObject});
}

void Data::MakeArray(unsigned long size) {
  Frame& top = frames_.back();
  if (top.node != nullptr) {
    mstch::array array;
    array.reserve(size);
    *top.node = std::move(array);
  }
  top.kind = Kind::kArray;
}

void Data::FinishNode() {
  if (frames_.size() == 1) {
    throw std::logic_error("FinishNode called with no node open: the root cannot be closed");
  }
  frames_.pop_back();
}

void Data::SaveText(std::string text) { Put(std::move(text)); }

template <>
void Data::SaveValue<bool>(bool value) {
  Put(value);
}

template <>
void Data::SaveValue<unsigned int>(unsigned int value) {
  Put(ToText(value));
}

template <>
void Data::SaveValue<unsigned long>(unsigned long value) {
  Put(ToText(value));
}

template <>
void Data::SaveValue<unsigned long long>(unsigned long long value) {
  Put(ToText(value));
}

template <>
void Data::SaveValue<int>(int value) {
  Put(ToText(value));
}

template <>
void Data::SaveValue<long>(long value) {
  Put(ToText(value));
}

template <>
void Data::SaveValue<long long>(long long value) {
  Put(ToText(value));
}

template <>
void Data::SaveValue<float>(float value) {
  Put(ToText(static_cast<double>(value)));
}

template <>
void Data::SaveValue<double>(double value) {
  Put(ToText(value));
}

}  // namespace orv::templating::serialize::archive::output
