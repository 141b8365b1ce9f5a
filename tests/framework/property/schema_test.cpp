#include "orv/property/schema.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "box.hpp"
#include "orv/object/primitive.hpp"

namespace orv::property {
namespace {

using test::Box;
using Calls = std::vector<std::string>;

Schema MakeTextSchema() { return Schema("text", &test::SetText, &test::GetText, "Some text"); }

TEST(Schema, ATemplatePropertyHasNoOwnerAndTheEmptyValue) {
  Schema const text = MakeTextSchema();
  Schema const flag("flag", &test::SetFlag, &test::GetFlag, "A flag");
  Schema const list("list", &test::SetList, &test::GetList, &test::AddItem, &test::EraseItem, &test::SetItemAt,
                    "A list");
  EXPECT_EQ(text.GetProperty()->GetName(), "text");
  EXPECT_EQ(text.GetProperty()->GetDescription(), "Some text");
  EXPECT_EQ(static_cast<External<std::string> const&>(text.GetProperty()->GetObject()).Get(), "");
  EXPECT_EQ(static_cast<External<std::string> const&>(*text.GetProperty()).GetOwner(), nullptr);
  EXPECT_FALSE(static_cast<External<bool> const&>(flag.GetProperty()->GetObject()).Get());
  EXPECT_TRUE(static_cast<ObservableArray const&>(list.GetProperty()->GetObject()).GetElements().empty());
}

TEST(Schema, TheBinderWorksOnThePropertyItIsHanded) {
  Schema const schema = MakeTextSchema();
  auto const box = std::make_shared<Box>();
  auto const property = schema.GetProperty()->Clone();
  static_cast<External<std::string>&>(*property).Set(std::string("pushed"));
  schema.Bind(property, box, context::Direction::ToOwner);
  EXPECT_EQ(box->text, "pushed");
  EXPECT_EQ(static_cast<External<std::string> const&>(*schema.GetProperty()).GetOwner(), nullptr);
  schema.Bind(nullptr, box, context::Direction::ToOwner);
  EXPECT_EQ(box->calls, Calls{"SetText pushed"});
}

TEST(Schema, InstantiateFromTheOwnerOnlyAttaches) {
  Schema const schema = MakeTextSchema();
  auto const box = std::make_shared<Box>();
  box->text = "owned";
  auto const property = schema.Instantiate(box, context::Direction::FromOwner);
  EXPECT_NE(property, schema.GetProperty());
  EXPECT_TRUE(box->calls.empty());
  EXPECT_EQ(static_cast<External<std::string> const&>(property->GetObject()).Get(), "owned");
  property->Set(object::Primitive<std::string>("written"));
  EXPECT_EQ(box->text, "written");
  EXPECT_EQ(static_cast<External<std::string> const&>(*schema.GetProperty()).Get(), "");
}

TEST(Schema, InstantiateTowardsTheOwnerPushesTheTemplateValue) {
  Schema const schema("flag", &test::SetFlag, &test::GetFlag, "A flag");
  auto const box = std::make_shared<Box>();
  box->flag = true;
  schema.Instantiate(box, context::Direction::ToOwner);
  EXPECT_FALSE(box->flag);
  EXPECT_EQ(box->calls, Calls{"SetFlag false"});
}

TEST(Schema, CopiesShareTheTemplateProperty) {
  Schema const schema = MakeTextSchema();
  Schema const copy(schema);
  EXPECT_EQ(copy.GetProperty(), schema.GetProperty());
}

}  // namespace
}  // namespace orv::property
