#include "orv/property/external.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "box.hpp"
#include "observables.hpp"
#include "orv/object/primitive.hpp"
#include "orv/type/bad_cast.hpp"

namespace orv::property {
namespace {

using object::ConstPointer;
using test::Box;
using Calls = std::vector<std::string>;
using Observables = Property::Observables;
using test::MakeObservable;
using test::ObservablePtr;
using test::Values;
using Text = External<std::string>;
using Flag = External<bool>;
using List = External<Observables>;

hash::MurmurThree32 const kObservableId("orv.observable.Observable");

template <class Exception, class Call>
std::string MessageOf(Call call) {
  try {
    call();
  } catch (Exception const& error) {
    return error.what();
  }
  return "no exception of the expected type";
}

std::string InvalidArgumentOf(auto call) { return MessageOf<std::invalid_argument>(call); }

std::shared_ptr<List> MakeList(std::shared_ptr<Box> owner) {
  return std::make_shared<List>("list", std::move(owner), &test::SetList, &test::GetList, &test::AddItem,
                                &test::EraseItem, &test::SetItemAt, "A list");
}

TEST(External, ChecksTheGetFunctionFirst) {
  std::shared_ptr<Box> const none;
  EXPECT_EQ(InvalidArgumentOf([&] {
              Text("t", none, static_cast<void (*)(Box*, std::string)>(nullptr),
                   static_cast<std::string (*)(Box const*)>(nullptr), "");
            }),
            "Must provide a get structure function for an external property");
  EXPECT_EQ(InvalidArgumentOf([&] { Flag("f", none, static_cast<void (*)(Box*, bool)>(nullptr), &test::GetFlag, ""); }),
            "Must provide a set structure function for an external property");
}

TEST(External, ChecksTheArrayFunctionsInOrder) {
  std::shared_ptr<Box> const none;
  using Element = void (*)(Box*, ObservablePtr);
  using ElementAt = void (*)(Box*, unsigned long, ObservablePtr);
  using Setter = void (*)(Box*, Observables);
  EXPECT_EQ(InvalidArgumentOf([&] {
              List("l", none, Setter(nullptr), static_cast<Observables (*)(Box const*)>(nullptr), Element(nullptr),
                   Element(nullptr), ElementAt(nullptr), "");
            }),
            "Must provide a get structure function for an external property");
  EXPECT_EQ(InvalidArgumentOf([&] {
              List("l", none, Setter(nullptr), &test::GetList, Element(nullptr), Element(nullptr), ElementAt(nullptr),
                   "");
            }),
            "Must provide a set structure function for an external property");
  EXPECT_EQ(InvalidArgumentOf([&] {
              List("l", none, &test::SetList, &test::GetList, Element(nullptr), Element(nullptr), ElementAt(nullptr),
                   "");
            }),
            "Must provide a add structure function for an external property");
  EXPECT_EQ(InvalidArgumentOf([&] {
              List("l", none, &test::SetList, &test::GetList, &test::AddItem, Element(nullptr), ElementAt(nullptr), "");
            }),
            "Must provide a erase structure function for an external property");
  EXPECT_EQ(InvalidArgumentOf([&] {
              List("l", none, &test::SetList, &test::GetList, &test::AddItem, &test::EraseItem, ElementAt(nullptr), "");
            }),
            "Must provide a set at structure function for an external property");
}

TEST(External, StartsFromTheOwnersValueOrTheEmptyValue) {
  auto const box = std::make_shared<Box>();
  box->text = "owned";
  box->flag = true;
  box->list = {MakeObservable(1)};
  EXPECT_EQ(Text("t", box, &test::SetText, &test::GetText, "").Get(), "owned");
  EXPECT_TRUE(Flag("f", box, &test::SetFlag, &test::GetFlag, "").Get());
  EXPECT_EQ(Values(*MakeList(box)), box->list);

  std::shared_ptr<Box> const none;
  EXPECT_EQ(Text("t", none, &test::SetText, &test::GetText, "").Get(), "");
  EXPECT_FALSE(Flag("f", none, &test::SetFlag, &test::GetFlag, "").Get());
  EXPECT_TRUE(MakeList(none)->GetElements().empty());
  EXPECT_TRUE(box->calls.empty());
}

TEST(External, KeepsItsTextsAndTypeId) {
  Text const text("label", std::shared_ptr<Box>(), &test::SetText, &test::GetText, "A label");
  EXPECT_EQ(text.GetName(), "label");
  EXPECT_EQ(text.GetDescription(), "A label");
  EXPECT_EQ(text.GetExtra(), "");
  EXPECT_EQ(text.GetTypeNameId(), hash::MurmurThree32("orv.property.String"));
  EXPECT_EQ(MakeList(nullptr)->GetTypeNameId(), hash::MurmurThree32("orv.property.Array.ConstPointer"));
}

TEST(External, SetWithoutAnOwnerStoresTheValueAndThenFailsTheCheck) {
  Flag flag("f", std::shared_ptr<Box>(), &test::SetFlag, &test::GetFlag, "");
  EXPECT_EQ(InvalidArgumentOf([&] { flag.Set(object::Primitive<bool>(true)); }),
            "Cannot write an external property that has no owner");
  EXPECT_TRUE(flag.Get());
  EXPECT_TRUE(static_cast<Flag const&>(flag.GetObject()).Get());
}

TEST(External, SetPassesTheValueToTheOwner) {
  auto const box = std::make_shared<Box>();
  Text text("t", box, &test::SetText, &test::GetText, "");
  text.Set(object::Primitive<std::string>("front door"));
  EXPECT_EQ(text.Get(), "front door");
  EXPECT_EQ(box->text, "front door");
  text.Set(Primitive<std::string>("other", "gate", "", ""));
  EXPECT_EQ(box->calls, (Calls{"SetText front door", "SetText gate"}));
}

TEST(External, SetOfABoolFromAStringPropertyFailsWithTheConversionMessage) {
  auto const box = std::make_shared<Box>();
  Flag flag("f", box, &test::SetFlag, &test::GetFlag, "");
  EXPECT_EQ(MessageOf<type::BadCast>([&] { flag.Set(Primitive<std::string>("s", "true", "", "")); }),
            "Cannot set external property with a 'orv.property.String'. Make sure to use the same type as the "
            "property");
  EXPECT_TRUE(box->calls.empty());
}

TEST(External, GetObjectRefreshesFromTheOwner) {
  auto const box = std::make_shared<Box>();
  Text text("t", box, &test::SetText, &test::GetText, "");
  box->text = "changed behind its back";
  auto const& object = text.GetObject();
  EXPECT_EQ(&object, &text);
  EXPECT_EQ(text.Get(), "changed behind its back");
  EXPECT_TRUE(box->calls.empty());
}

TEST(External, ScalarsRefuseElementOperationsThroughTheBase) {
  Flag flag("always", std::make_shared<Box>(), &test::SetFlag, &test::GetFlag, "");
  ConstPointer element;
  EXPECT_EQ(MessageOf<std::logic_error>([&] { flag.Add(element); }),
            "Cannot add an element to the property 'always': it is not an array");
  EXPECT_EQ(MessageOf<std::logic_error>([&] { flag.Erase(element); }),
            "Cannot erase an element from the property 'always': it is not an array");
  EXPECT_EQ(MessageOf<std::logic_error>([&] { flag.SetAt(0, element); }),
            "Cannot set an element of the property 'always': it is not an array");
}

TEST(External, BindReplacesTheOwnerAndPushesOnlyTowardsIt) {
  auto const first = std::make_shared<Box>();
  auto const second = std::make_shared<Box>();
  Text text("t", std::shared_ptr<Box>(), &test::SetText, &test::GetText, "");
  text.Set(std::string("pushed"));
  text.Bind(first, context::Direction::FromOwner);
  EXPECT_EQ(text.GetOwner(), first);
  EXPECT_TRUE(first->calls.empty());
  text.Bind(second, context::Direction::ToOwner);
  EXPECT_EQ(text.GetOwner(), second);
  EXPECT_EQ(second->text, "pushed");
  EXPECT_EQ(first.use_count(), 1);
  text.Bind(nullptr, context::Direction::ToOwner);
  EXPECT_EQ(text.GetOwner(), nullptr);
}

TEST(ExternalArray, AddAppendsLocallyThenCallsTheOwner) {
  auto const box = std::make_shared<Box>();
  auto const list = MakeList(box);
  auto const a = MakeObservable(1);
  ConstPointer element(a, kObservableId);
  list->Add(element);
  EXPECT_EQ(Values(*list), std::vector<ObservablePtr>{a});
  EXPECT_EQ(box->list, std::vector<ObservablePtr>{a});
  EXPECT_EQ(box->calls, Calls{"AddItem 1"});
}

TEST(ExternalArray, AddWithoutAnOwnerHasChangedTheLocalArrayBeforeTheCheck) {
  auto const list = MakeList(nullptr);
  ConstPointer element(MakeObservable(1), kObservableId);
  EXPECT_EQ(InvalidArgumentOf([&] { list->Add(element); }), "Cannot write an external property that has no owner");
  EXPECT_EQ(list->GetElements().size(), 1U);
}

TEST(ExternalArray, EraseRemovesLocallyThenCallsTheOwner) {
  auto const a = MakeObservable(1);
  auto const b = MakeObservable(2);
  auto const box = std::make_shared<Box>();
  box->list = {a, b, a};
  auto const list = MakeList(box);
  ConstPointer element(a, kObservableId);
  list->Erase(element);
  EXPECT_EQ(Values(*list), std::vector<ObservablePtr>{b});
  EXPECT_EQ(box->calls, Calls{"EraseItem 1"});
}

TEST(ExternalArray, SetAtReplacesLocallyThenCallsTheOwner) {
  auto const a = MakeObservable(1);
  auto const c = MakeObservable(3);
  auto const box = std::make_shared<Box>();
  box->list = {a};
  auto const list = MakeList(box);
  ConstPointer element(c, kObservableId);
  list->SetAt(0, element);
  EXPECT_EQ(Values(*list), std::vector<ObservablePtr>{c});
  EXPECT_EQ(box->list, std::vector<ObservablePtr>{c});
  EXPECT_EQ(box->calls, Calls{"SetItemAt 0 3"});
}

TEST(ExternalArray, SetAtPastTheEndThrowsAndChangesNothing) {
  auto const a = MakeObservable(1);
  auto const box = std::make_shared<Box>();
  box->list = {a};
  auto const list = MakeList(box);
  ConstPointer element(MakeObservable(3), kObservableId);
  EXPECT_EQ(MessageOf<std::out_of_range>([&] { list->SetAt(1, element); }),
            "vector::_M_range_check: __n (which is 1) >= this->size() (which is 1)");
  EXPECT_EQ(Values(*list), std::vector<ObservablePtr>{a});
  EXPECT_TRUE(box->calls.empty());
}

TEST(ExternalArray, ElementsMustBePointers) {
  auto const box = std::make_shared<Box>();
  auto const list = MakeList(box);
  object::Primitive<bool> flag(true);
  EXPECT_THROW(list->Add(flag), object::BadCast);
  EXPECT_TRUE(list->GetElements().empty());
  EXPECT_TRUE(box->calls.empty());
}

TEST(ExternalArray, SetPassesTheWholeListToTheOwner) {
  auto const a = MakeObservable(1);
  auto const b = MakeObservable(2);
  auto const box = std::make_shared<Box>();
  auto const list = MakeList(box);
  Property& property = *list;
  property = Observables{b, a};
  EXPECT_EQ(Values(*list), (std::vector<ObservablePtr>{b, a}));
  EXPECT_EQ(box->list, (std::vector<ObservablePtr>{b, a}));
  EXPECT_EQ(box->calls, Calls{"SetList 2"});
  EXPECT_THROW(list->Set(object::Primitive<bool>(true)), object::BadCast);
}

TEST(ExternalArray, RefreshingFromTheOwnerWritesTheSameListBack) {
  auto const a = MakeObservable(1);
  auto const b = MakeObservable(2);
  auto const box = std::make_shared<Box>();
  auto const list = MakeList(box);
  box->list = {a, b};
  list->GetObject();
  EXPECT_EQ(Values(*list), (std::vector<ObservablePtr>{a, b}));
  EXPECT_EQ(box->list, (std::vector<ObservablePtr>{a, b}));
  EXPECT_EQ(box->calls, Calls{"SetList 2"});
}

TEST(ExternalArray, GetObjectWithoutAnOwnerKeepsTheStoredList) {
  auto const list = MakeList(nullptr);
  EXPECT_EQ(&list->GetObject(), list.get());
  EXPECT_TRUE(list->GetElements().empty());
}

TEST(ExternalRead, ReturnsTheOwnersValuesAndWritesNothing) {
  auto const box = std::make_shared<Box>();
  auto const text = std::make_shared<Text>("t", box, &test::SetText, &test::GetText, "A text");
  auto const flag = std::make_shared<Flag>("f", box, &test::SetFlag, &test::GetFlag, "A flag");
  auto const list = MakeList(box);
  auto const a = MakeObservable(1);
  auto const b = MakeObservable(2);
  box->text = "changed in the owner";
  box->flag = true;
  box->list = {a, b};
  for (int read = 0; read < 3; ++read) {
    auto const textValue = text->Read();
    EXPECT_EQ(textValue->GetTypeNameId(), object::TypeIdOf<Primitive<std::string>>);
    EXPECT_EQ(textValue->GetName(), "t");
    EXPECT_EQ(textValue->GetDescription(), "A text");
    EXPECT_EQ(textValue->As<Primitive<std::string>>().Get(), "changed in the owner");
    EXPECT_TRUE(flag->Read()->As<Primitive<bool>>().Get());
    auto const listValue = list->Read();
    EXPECT_EQ(listValue->GetTypeNameId(), object::TypeIdOf<ObservableArray>);
    EXPECT_EQ(Values(listValue->As<ObservableArray>()), (std::vector<ObservablePtr>{a, b}));
  }
  EXPECT_EQ(box->calls, Calls{});
  // The properties themselves keep their old values: Read refreshes nothing.
  EXPECT_EQ(text->Get(), "");
  EXPECT_FALSE(flag->Get());
  EXPECT_TRUE(list->GetElements().empty());
}

TEST(ExternalRead, WithoutAnOwnerReturnsTheStoredValue) {
  std::shared_ptr<Box> const none;
  Text text("t", none, &test::SetText, &test::GetText, "");
  text.Primitive<std::string>::Set(std::string("kept"));
  EXPECT_EQ(text.Read()->As<Primitive<std::string>>().Get(), "kept");
  EXPECT_TRUE(MakeList(nullptr)->Read()->As<ObservableArray>().GetElements().empty());
}

TEST(ExternalRead, APrimitiveReadsAsACopy) {
  Primitive<bool> const flag("f", true, "d", "");
  auto const value = flag.Read();
  EXPECT_NE(value.get(), &flag);
  EXPECT_TRUE(value->As<Primitive<bool>>().Get());
}

TEST(Wrappers, SettersCheckTheOwnerAndGettersDoNot) {
  auto const set = external::Set<Box, bool>(&test::SetFlag);
  EXPECT_EQ(InvalidArgumentOf([&] { set(nullptr, object::Primitive<bool>(true)); }),
            "Cannot write an external property that has no owner");
  auto const get = external::Get<Box, bool>(&test::GetFlag);
  Primitive<bool> target("f", true, "", "");
  get(nullptr, target);
  EXPECT_TRUE(target.Get());
  auto const box = std::make_shared<Box>();
  get(box, target);
  EXPECT_FALSE(target.Get());
  set(box, Primitive<bool>("g", true, "", ""));
  EXPECT_TRUE(box->flag);
}

}  // namespace
}  // namespace orv::property
