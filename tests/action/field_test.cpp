#include "orv/action/field.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "orv/action/registration.hpp"
#include "orv/object/primitive.hpp"
#include "orv/property/primitive.hpp"
#include "orv/type/bad_cast.hpp"
#include "probe.hpp"

namespace orv::action {
namespace {

using property::Schema;
using Texts = std::vector<std::string>;

// A concrete type whose settings are declared with one line each.
class Mailer : public test::Probe {
 public:
  static constexpr char const* kTypeName = "orv.test.field.Mailer";
  Mailer() : Probe(hash::MurmurThree32(kTypeName)) {}

  static std::vector<Schema> GetSchemas() {
    using properties::Field;
    return properties::Make({
        Field<&Mailer::GetHost, &Mailer::SetHost>("host", "The server"),
        Field<&Mailer::GetPort, &Mailer::SetPort>("port", "The port"),
        Field<&Mailer::GetTls, &Mailer::SetTls>("tls", "Whether to use TLS"),
        Field<&Mailer::GetTo, &Mailer::SetTo>("to", "The recipients"),
        properties::SecretField<&Mailer::GetPassword, &Mailer::SetPassword>("password", "The password"),
    });
  }

  std::string const& GetHost() const noexcept { return host_; }
  void SetHost(std::string host) { host_ = std::move(host); }
  std::int64_t GetPort() const { return port_; }
  void SetPort(std::int64_t port) {
    if (port < 1 || port > 65535) {
      throw std::invalid_argument("port " + std::to_string(port) + " is not between 1 and 65535");
    }
    port_ = port;
  }
  bool GetTls() const { return tls_; }
  void SetTls(bool tls) { tls_ = tls; }
  Texts GetTo() const { return to_; }
  void SetTo(Texts const& to) { to_ = to; }
  std::string GetPassword() const { return password_; }
  void SetPassword(std::string password) { password_ = std::move(password); }

 private:
  std::string host_ = "mail.example.test";
  std::int64_t port_ = 587;
  bool tls_ = true;
  Texts to_;
  std::string password_;
};

Registration<Mailer> const kMailerRegistration;

// Another registered type, to bind a Mailer's property to.
class Other : public test::Probe {
 public:
  static constexpr char const* kTypeName = "orv.test.field.Other";
  Other() : Probe(hash::MurmurThree32(kTypeName)) {}
  static std::vector<Schema> GetSchemas() { return properties::Make({}); }
};

Registration<Other> const kOtherRegistration;

std::shared_ptr<property::Property> Live(std::shared_ptr<Action> const& action, std::string const& name) {
  for (auto const& schema : Mailer::GetSchemas()) {
    if (schema.GetProperty()->GetName() == name) {
      return schema.Instantiate(action, property::context::Direction::FromOwner);
    }
  }
  throw std::logic_error("no schema " + name);
}

template <class T>
T ValueOf(property::Property const& property) {
  return property.GetObject().As<property::Primitive<T>>().Get();
}

TEST(Field, DeclaresTheSchemasInOrderBeforeTheCommonOnes) {
  auto const schemas = Mailer::GetSchemas();
  std::vector<std::string> names;
  for (auto const& schema : schemas) {
    names.push_back(schema.GetProperty()->GetName());
  }
  EXPECT_EQ(names, (std::vector<std::string>{"host", "port", "tls", "to", "password", "name", "observables",
                                             "always_trigger"}));
  EXPECT_EQ(schemas[1].GetProperty()->GetDescription(), "The port");
}

TEST(Field, TheValueTypeComesFromTheGetter) {
  auto const schemas = Mailer::GetSchemas();
  EXPECT_EQ(schemas[0].GetProperty()->GetTypeNameId(), hash::MurmurThree32("orv.property.String"));
  EXPECT_EQ(schemas[1].GetProperty()->GetTypeNameId(), hash::MurmurThree32("orv.property.Integer"));
  EXPECT_EQ(schemas[2].GetProperty()->GetTypeNameId(), hash::MurmurThree32("orv.property.Bool"));
  EXPECT_EQ(schemas[3].GetProperty()->GetTypeNameId(), hash::MurmurThree32("orv.property.StringList"));
}

TEST(Field, TemplatePropertiesStartEmpty) {
  auto const schemas = Mailer::GetSchemas();
  EXPECT_EQ(ValueOf<std::string>(*schemas[0].GetProperty()), "");
  EXPECT_EQ(ValueOf<std::int64_t>(*schemas[1].GetProperty()), 0);
  EXPECT_FALSE(ValueOf<bool>(*schemas[2].GetProperty()));
}

TEST(Field, ReadsAndWritesTheConcreteAction) {
  auto const action = Action::Make(hash::MurmurThree32(Mailer::kTypeName));
  ASSERT_TRUE(action);
  auto& mailer = static_cast<Mailer&>(*action);
  auto const host = Live(action, "host");
  auto const port = Live(action, "port");
  auto const to = Live(action, "to");
  EXPECT_EQ(ValueOf<std::string>(*host), "mail.example.test");
  EXPECT_EQ(ValueOf<std::int64_t>(*port), 587);

  host->Set(object::Primitive<std::string>("smtp.example.test"));
  port->Set(object::Primitive<std::int64_t>(465));
  to->Set(object::Primitive<Texts>({"a@example.test", "b@example.test"}));
  EXPECT_EQ(mailer.GetHost(), "smtp.example.test");
  EXPECT_EQ(mailer.GetPort(), 465);
  EXPECT_EQ(mailer.GetTo(), (Texts{"a@example.test", "b@example.test"}));
}

TEST(Field, ASetterThatRefusesTheValueLeavesTheActionUnchanged) {
  auto const action = Action::Make(hash::MurmurThree32(Mailer::kTypeName));
  auto const port = Live(action, "port");
  try {
    port->Set(object::Primitive<std::int64_t>(70000));
    FAIL() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "port 70000 is not between 1 and 65535");
  }
  EXPECT_EQ(static_cast<Mailer&>(*action).GetPort(), 587);
}

TEST(Field, AnActionOfAnotherTypeIsRefusedByTheCheckedCast) {
  auto const other = Action::Make(hash::MurmurThree32(Other::kTypeName));
  ASSERT_TRUE(other);
  auto const host = Live(other, "host");
  try {
    host->Set(object::Primitive<std::string>("x"));
    FAIL() << "no exception";
  } catch (type::BadCast const& error) {
    EXPECT_STREQ(error.what(), "Failed to cast the action from 'orv.test.field.Other' to a 'orv.test.field.Mailer'");
  }
  EXPECT_THROW(host->GetObject(), type::BadCast);
}

TEST(SecretField, MarksThePropertyAndItsLiveCopies) {
  auto const schemas = Mailer::GetSchemas();
  EXPECT_TRUE(schemas[4].GetProperty()->IsSecret());
  EXPECT_FALSE(schemas[0].GetProperty()->IsSecret());
  auto const action = Action::Make(hash::MurmurThree32(Mailer::kTypeName));
  auto const password = Live(action, "password");
  EXPECT_TRUE(password->IsSecret());
  password->Set(object::Primitive<std::string>("hunter2"));
  EXPECT_EQ(static_cast<Mailer&>(*action).GetPassword(), "hunter2");
}

}  // namespace
}  // namespace orv::action
