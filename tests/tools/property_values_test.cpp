#include "property_values.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orv/property/primitive.hpp"

namespace orv::tool {
namespace {

using Texts = std::vector<std::string>;

TEST(ValueTextOf, ShowsTextAndListsAsJson) {
  EXPECT_EQ(ValueTextOf(property::Primitive<std::string>("subject", "Alarm \"{{the_event.name}}\"", "", "")),
            R"("Alarm \"{{the_event.name}}\"")");
  EXPECT_EQ(ValueTextOf(property::Primitive<Texts>("to", Texts{"a@example.test", "b@example.test"}, "", "")),
            R"(["a@example.test","b@example.test"])");
  EXPECT_EQ(ValueTextOf(property::Primitive<bool>("verify_tls", false, "", "")), "false");
  EXPECT_EQ(ValueTextOf(property::Primitive<std::int64_t>("port", -1, "", "")), "-1");
}

// Found by fuzz_property: `--set template=` with bytes that are not UTF-8 is
// taken, and showing the value then threw out of the JSON library.
TEST(ValueTextOf, ShowsBytesThatAreNotUtf8AsReplacementCharacters) {
  std::string const text = std::string("{{the\xB9\x0B") + "ev";
  EXPECT_EQ(ValueTextOf(property::Primitive<std::string>("template", text, "", "")),
            std::string("\"{{the\xEF\xBF\xBD\\u000b") + "ev\"");
  EXPECT_EQ(ValueTextOf(property::Primitive<Texts>("to", Texts{"\xFF@x", "ok"}, "", "")),
            "[\"\xEF\xBF\xBD@x\",\"ok\"]");
}

}  // namespace
}  // namespace orv::tool
