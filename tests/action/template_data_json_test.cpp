// TemplateDataToJson: the JSON text of template data, exactly as `orv-action
// data` prints it and the MQTT action publishes it by default.

#include "orv/action/template_data_json.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace orv::action {
namespace {

mstch::map Sample() {
  return mstch::map{
      {"the_event", mstch::map{{"name", std::string("Door \"A\"\n")},
                               {"armed", true},
                               {"zones", mstch::array{mstch::map{{"id", std::string("1")}}, std::string("x")}},
                               {"nothing", mstch::node()}}}};
}

TEST(TemplateDataToJson, WritesOneLineWithSortedKeysByDefault) {
  EXPECT_EQ(TemplateDataToJson(Sample()),
            R"({"the_event":{"armed":true,"name":"Door \"A\"\n","nothing":null,"zones":[{"id":"1"},"x"]}})");
}

TEST(TemplateDataToJson, IndentsEachLevelByTheGivenSpaces) {
  EXPECT_EQ(TemplateDataToJson(mstch::map{{"a", mstch::array{std::string("b")}}, {"c", false}}, 2),
            "{\n  \"a\": [\n    \"b\"\n  ],\n  \"c\": false\n}");
  EXPECT_EQ(TemplateDataToJson(mstch::map{{"a", std::string("b")}}, 0), "{\n\"a\": \"b\"\n}");
}

TEST(TemplateDataToJson, ShowsBytesThatAreNotUtf8AsTheReplacementCharacter) {
  EXPECT_EQ(TemplateDataToJson(mstch::map{{"a", std::string("x\xffy")}}), "{\"a\":\"x\xef\xbf\xbdy\"}");
}

TEST(TemplateDataToJson, RefusesNodesTemplateDataNeverHoldsNamingTheirPlace) {
  try {
    TemplateDataToJson(mstch::map{{"the_event", mstch::map{{"list", mstch::array{std::string("a"), 3}}}}});
    FAIL() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "template data at $.the_event.list[1] holds an int, which template data never holds");
  }
  EXPECT_THROW(TemplateDataToJson(mstch::map{{"d", 1.5}}), std::invalid_argument);
}

}  // namespace
}  // namespace orv::action
