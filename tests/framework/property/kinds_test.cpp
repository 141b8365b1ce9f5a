// The integer and text-list property kinds, and the secret mark.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "orv/object/primitive.hpp"
#include "orv/property/convert.hpp"
#include "orv/property/external.hpp"
#include "orv/property/primitive.hpp"
#include "orv/property/schema.hpp"
#include "orv/type/bad_cast.hpp"

namespace orv::property {
namespace {

using Texts = std::vector<std::string>;

struct Mailer {
  std::int64_t port = 25;
  Texts recipients;
  std::string password;
};

std::int64_t GetPort(Mailer const* mailer) { return mailer->port; }
void SetPort(Mailer* mailer, std::int64_t port) { mailer->port = port; }
Texts GetRecipients(Mailer const* mailer) { return mailer->recipients; }
void SetRecipients(Mailer* mailer, Texts recipients) { mailer->recipients = std::move(recipients); }
std::string GetPassword(Mailer const* mailer) { return mailer->password; }
void SetPassword(Mailer* mailer, std::string password) { mailer->password = std::move(password); }

std::string BadCastOf(auto call) {
  try {
    call();
  } catch (type::BadCast const& error) {
    return error.what();
  }
  return "no orv::type::BadCast";
}

TEST(Kinds, HaveTheirTypeIdsAndNames) {
  EXPECT_EQ(object::Primitive<std::int64_t>(1).GetTypeNameId(), hash::MurmurThree32("orv.object.Integer"));
  EXPECT_EQ(object::Primitive<Texts>().GetTypeNameId(), hash::MurmurThree32("orv.object.StringList"));
  EXPECT_EQ(Primitive<std::int64_t>("i", 0, "", "").GetTypeNameId(), hash::MurmurThree32("orv.property.Integer"));
  EXPECT_EQ(Primitive<Texts>("l", {}, "", "").GetTypeNameId(), hash::MurmurThree32("orv.property.StringList"));
  for (char const* name :
       {"orv.object.Integer", "orv.object.StringList", "orv.property.Integer", "orv.property.StringList"}) {
    EXPECT_STREQ(object::Object::TypeName(hash::MurmurThree32(name)), name);
  }
}

TEST(Kinds, SetFromObjectsAndPropertiesOfTheirValueType) {
  Primitive<std::int64_t> port("port", 25, "", "");
  port.Set(object::Primitive<std::int64_t>(587));
  EXPECT_EQ(port.Get(), 587);
  port.Set(Primitive<std::int64_t>("other", -1, "", ""));
  EXPECT_EQ(port.Get(), -1);

  Primitive<Texts> list("to", {}, "", "");
  list.Set(object::Primitive<Texts>({"a@example.test", "b@example.test"}));
  EXPECT_EQ(list.Get(), (Texts{"a@example.test", "b@example.test"}));
  list.Set(Primitive<Texts>("cc", {}, "", ""));
  EXPECT_TRUE(list.Get().empty());
}

TEST(Kinds, RefuseOtherTypesNamingThem) {
  // On the heap: g++ 12 warns about array bounds on a stack object here, as it
  // speculates that the virtual Set might be External's.
  auto const port = std::make_shared<Primitive<std::int64_t>>("port", 25, "", "");
  EXPECT_EQ(BadCastOf([&] { port->Set(object::Primitive<std::string>("587")); }),
            "Cannot set external property with a 'orv.object.String'. Make sure to use the same type as the property");
  EXPECT_EQ(port->Get(), 25);
  EXPECT_EQ(BadCastOf([] { external::Convert<Texts>(object::Primitive<std::string>("a")); }),
            "Cannot set external property with a 'orv.object.String'. Make sure to use the same type as the property");
  EXPECT_EQ(BadCastOf([] { external::Convert<std::string>(object::Primitive<std::int64_t>(1)); }),
            "Cannot set external property with a 'orv.object.Integer'. Make sure to use the same type as the "
            "property");
}

TEST(Kinds, DescribeTheirValidValues) {
  std::ostringstream out;
  Primitive<std::int64_t>("i", 0, "", "").DescribeValidValues(out) << "|";
  Primitive<Texts>("l", {}, "", "").DescribeValidValues(out);
  EXPECT_EQ(out.str(), "Any integer|Any list of texts");
}

TEST(Kinds, EqualToComparesTheValue) {
  Primitive<Texts> const list("l", {"a", "b"}, "", "");
  EXPECT_TRUE(list.EqualTo(Primitive<Texts>("l", {"a", "b"}, "", "")));
  EXPECT_FALSE(list.EqualTo(Primitive<Texts>("l", {"b", "a"}, "", "")));
  EXPECT_FALSE(list.EqualTo(object::Primitive<Texts>({"a", "b"})));
}

TEST(Kinds, ExternalPropertiesReachTheOwner) {
  auto const mailer = std::make_shared<Mailer>();
  Schema const port("port", &SetPort, &GetPort, "The port");
  Schema const to("to", &SetRecipients, &GetRecipients, "The recipients");
  EXPECT_EQ(port.GetProperty()->GetObject().As<Primitive<std::int64_t>>().Get(), 0);
  EXPECT_TRUE(to.GetProperty()->GetObject().As<Primitive<Texts>>().Get().empty());

  auto const livePort = port.Instantiate(mailer, context::Direction::FromOwner);
  EXPECT_EQ(livePort->GetObject().As<Primitive<std::int64_t>>().Get(), 25);
  livePort->Set(object::Primitive<std::int64_t>(465));
  EXPECT_EQ(mailer->port, 465);

  auto const liveTo = to.Instantiate(mailer, context::Direction::FromOwner);
  liveTo->Set(object::Primitive<Texts>({"a@example.test"}));
  EXPECT_EQ(mailer->recipients, Texts{"a@example.test"});
  mailer->recipients.push_back("b@example.test");
  EXPECT_EQ(liveTo->GetObject().As<Primitive<Texts>>().Get(), (Texts{"a@example.test", "b@example.test"}));
}

TEST(Secret, IsOffUnlessMarkedAndTravelsWithCopies) {
  Schema const password("password", &SetPassword, &GetPassword, "The password");
  EXPECT_FALSE(password.GetProperty()->IsSecret());
  password.GetProperty()->SetSecret(true);
  EXPECT_TRUE(password.GetProperty()->IsSecret());
  EXPECT_TRUE(password.GetProperty()->Clone()->IsSecret());
  auto const live = password.Instantiate(std::make_shared<Mailer>(), context::Direction::FromOwner);
  EXPECT_TRUE(live->IsSecret());
  EXPECT_TRUE(Schema(password).GetProperty()->IsSecret());
}

TEST(Secret, IsNotPartOfTheComparison) {
  Primitive<std::string> plain("p", "x", "", "");
  Primitive<std::string> secret("p", "x", "", "");
  secret.SetSecret(true);
  EXPECT_TRUE(plain == secret);
  EXPECT_TRUE(plain.EqualTo(secret));
}

}  // namespace
}  // namespace orv::property
