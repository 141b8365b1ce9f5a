#include "message_text.hpp"

#include <gtest/gtest.h>

#include <string>

namespace orv::tool {
namespace {

using Json = nlohmann::json;

std::string Repeat(std::string const& text, std::size_t times) {
  std::string repeated;
  for (std::size_t i = 0; i < times; ++i) {
    repeated += text;
  }
  return repeated;
}

TEST(Join, SeparatesNamesWithCommas) {
  EXPECT_EQ(Join(std::vector<std::string>{"a", "b", "c"}), "a, b, c");
  EXPECT_EQ(Join(std::vector<std::string>{}), "(none)");
}

TEST(Shorten, KeepsSixtyCharactersThenAddsDots) {
  EXPECT_EQ(Shorten(""), "");
  EXPECT_EQ(Shorten(std::string(60, 'x')), std::string(60, 'x'));
  EXPECT_EQ(Shorten(std::string(61, 'x')), std::string(60, 'x') + "...");
  // Characters, not bytes: a two-byte character is never split.
  EXPECT_EQ(Shorten(Repeat("\xC3\xA9", 60)), Repeat("\xC3\xA9", 60));
  EXPECT_EQ(Shorten(Repeat("\xC3\xA9", 61)), Repeat("\xC3\xA9", 60) + "...");
}

TEST(Quote, WritesCompactJson) {
  EXPECT_EQ(Quote(Json(300)), "300");
  EXPECT_EQ(Quote(Json(-1)), "-1");
  EXPECT_EQ(Quote(Json(1.5)), "1.5");
  EXPECT_EQ(Quote(Json(nullptr)), "null");
  EXPECT_EQ(Quote(Json("a\"b\n")), R"("a\"b\n")");
  EXPECT_EQ(Quote(Json::parse(R"({"b": [1, {"c": []}], "a": "x"})")), R"({"a":"x","b":[1,{"c":[]}]})");
  EXPECT_EQ(Quote(Json::array()), "[]");
  EXPECT_EQ(Quote(Json::object()), "{}");
}

TEST(Quote, ShortensLongValues) {
  EXPECT_EQ(Quote(Json(std::string(100, 'x'))), "\"" + std::string(59, 'x') + "...");
  EXPECT_EQ(Quote(Json(std::string(58, 'x'))), "\"" + std::string(58, 'x') + "\"");
  EXPECT_EQ(Quote(Json(std::string(59, 'x'))), "\"" + std::string(59, 'x') + "...");
  EXPECT_EQ(Quote(Json(Repeat("\n", 40))), "\"" + Repeat("\\n", 29) + "\\...");
  Json numbers = Json::array();
  for (int i = 0; i < 1000; ++i) {
    numbers.push_back(i);
  }
  EXPECT_EQ(Quote(numbers), "[0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,...");
}

TEST(Quote, WritesNoMoreOfADeepValueThanItShows) {
  // Deeper than anything the parser accepts, to show quoting does not recurse.
  Json deep = Json::array();
  for (int i = 0; i < 100000; ++i) {
    Json outer = Json::array();
    outer.push_back(std::move(deep));
    deep = std::move(outer);
  }
  EXPECT_EQ(Quote(deep), std::string(60, '[') + "...");
}

}  // namespace
}  // namespace orv::tool
