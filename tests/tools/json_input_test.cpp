#include "json_input.hpp"

#include <gtest/gtest.h>

#include <string>

#include "errors.hpp"
#include "source_text.hpp"

namespace orv::tool {
namespace {

using Json = nlohmann::json;

// The message of the InputError that parsing `text` throws.
std::string ParseError(std::string const& text) {
  try {
    ParseJson(SourceText("in.json", text));
  } catch (InputError const& error) {
    return error.what();
  }
  ADD_FAILURE() << "parsed: " << text;
  return "";
}

TEST(SourceText, NamesLinesAndColumnsOfCharacters) {
  SourceText const source("f.json", "ab\n\xC3\xA9z\n\n", 10);
  EXPECT_EQ(source.Place(std::size_t{0}), "f.json:10:1");
  EXPECT_EQ(source.Place(std::size_t{2}), "f.json:10:3");
  EXPECT_EQ(source.Place(std::size_t{3}), "f.json:11:1");
  // "é" is two bytes and one character.
  EXPECT_EQ(source.Place(std::size_t{5}), "f.json:11:2");
  EXPECT_EQ(source.Place(std::size_t{7}), "f.json:12:1");
  EXPECT_EQ(source.Place(std::size_t{8}), "f.json:13:1");
  EXPECT_EQ(source.Place(std::size_t{1000}), "f.json:13:1");
  EXPECT_EQ(source.Place(std::size_t{2}, std::size_t{5}), "f.json:11:5");
}

TEST(ParseJson, ReadsADocument) {
  Json const document = ParseJson(SourceText("in.json", R"({"a": [1, -2, 3.5, "x", true, null], "b": {}})"));
  EXPECT_EQ(document, Json::parse(R"({"a": [1, -2, 3.5, "x", true, null], "b": {}})"));
  EXPECT_EQ(ParseJson(SourceText("in.json", "\xEF\xBB\xBF 7 ")), Json(7));
}

TEST(ParseJson, NamesThePlaceOfASyntaxError) {
  EXPECT_EQ(ParseError("{\n  \"a\": 1,\n  \"b\" 2\n}"),
            "in.json:3:7: syntax error while parsing object separator - unexpected number literal; expected ':'");
  EXPECT_EQ(ParseError(""),
            "in.json:1:1: syntax error while parsing value - unexpected end of input; expected '[', "
            "'{', or a literal");
  EXPECT_EQ(ParseError("[1] [2]"),
            "in.json:1:5: syntax error while parsing value - unexpected '['; expected end of input");
}

TEST(ParseJson, TakesOneHundredTwentyEightLevelsAndNoMore) {
  std::string const deepest = std::string(128, '[') + std::string(128, ']');
  EXPECT_EQ(ParseJson(SourceText("in.json", deepest)).size(), 1U);
  EXPECT_EQ(ParseError(R"({"a": )" + std::string(127, '[') + "{}" + std::string(127, ']') + "}"),
            "in.json:1:134: nesting deeper than 128 levels of arrays and objects, the limit of a JSON input");
  EXPECT_EQ(ParseError(std::string(1000000, '[')),
            "in.json:1:129: nesting deeper than 128 levels of arrays and objects, the limit of a JSON input");
}

TEST(ParseJson, RefusesDuplicateKeysAndNulBytes) {
  EXPECT_EQ(ParseError(R"({"a": {"b": 1, "c": [{"d": 1, "d": 2}]}})"), "in.json:1:31: $.a.c[0].d: duplicate key 'd'");
  EXPECT_EQ(ParseError(R"({"a": 1, "b": {"a": 2}, "a": 3})"), "in.json:1:25: $.a: duplicate key 'a'");
  EXPECT_EQ(ParseError(std::string("[1]\n\0", 5)), "in.json:2:1: a NUL byte, which JSON text cannot hold");
  EXPECT_EQ(ParseError(std::string("[\"\0\"]", 4)), "in.json:1:3: a NUL byte, which JSON text cannot hold");
}

TEST(FindValue, FindsWhereEachValueStarts) {
  std::string const text =
      "{\"a\": [1,2 ,  -3.5e1],\n \"b\":{\"c\":\"x\\\"y\",\"d\" : [[], {}, true]},\"e\":null,\"f\":0}";
  SourceText const source("in.json", text);
  ParseJson(source);
  auto const at = [&](JsonPath const& path) { return FindValue(source, path); };
  EXPECT_EQ(at({}), 0U);
  EXPECT_EQ(at({"a"}), text.find('['));
  EXPECT_EQ(at({"a", std::size_t{0}}), text.find('1'));
  EXPECT_EQ(at({"a", std::size_t{1}}), text.find('2'));
  EXPECT_EQ(at({"a", std::size_t{2}}), text.find('-'));
  EXPECT_EQ(at({"b"}), text.find("{\"c\""));
  EXPECT_EQ(at({"b", "c"}), text.find("\"x"));
  EXPECT_EQ(at({"b", "d"}), text.find("[[]"));
  EXPECT_EQ(at({"b", "d", std::size_t{0}}), text.find("[]"));
  EXPECT_EQ(at({"b", "d", std::size_t{1}}), text.find("{}"));
  EXPECT_EQ(at({"b", "d", std::size_t{2}}), text.find("true"));
  EXPECT_EQ(at({"e"}), text.find("null"));
  EXPECT_EQ(at({"f"}), text.find("0}"));
  // No such value: the end of the text.
  EXPECT_EQ(at({"g"}), text.size());
  EXPECT_EQ(at({"a", std::size_t{3}}), text.size());
  EXPECT_EQ(at({std::size_t{0}}), text.size());
  EXPECT_EQ(at({"a", "b"}), text.size());
}

TEST(ToText, WritesPathsAsMessagesShowThem) {
  EXPECT_EQ(ToText({}), "$");
  EXPECT_EQ(ToText({"objects", std::size_t{0}, "colour", "g"}), "$.objects[0].colour.g");
  EXPECT_EQ(ToText({"odd key", "a.b", ""}), R"($["odd key"]["a.b"][""])");
  EXPECT_EQ(ToText({std::string(70, 'k')}), "$[\"" + std::string(59, 'k') + "...]");
}

TEST(FindInString, CountsEscapesAsTheCharactersTheyStandFor) {
  // The string holds "é\t\"" on line 1, then "😀 x", then "".
  std::string const text = R"({"t": "\u00e9\t\"\n\ud83d\ude00 x\n"})";
  SourceText const source("in.json", text);
  std::size_t const string = text.find("\"\\u");
  EXPECT_EQ(FindInString(source, string, 1, 1), string + 1);
  EXPECT_EQ(FindInString(source, string, 1, 2), text.find("\\t"));
  EXPECT_EQ(FindInString(source, string, 1, 3), text.find("\\\""));
  EXPECT_EQ(FindInString(source, string, 2, 1), text.find("\\ud83d"));
  EXPECT_EQ(FindInString(source, string, 2, 2), text.find(" x"));
  EXPECT_EQ(FindInString(source, string, 2, 3), text.find("x\\n"));
  EXPECT_EQ(FindInString(source, string, 3, 1), text.rfind('"'));
  EXPECT_EQ(FindInString(source, string, 9, 9), text.rfind('"'));
  std::string const raw =
      "[\"a\xC3\xA9"
      "b\"]";
  EXPECT_EQ(FindInString(SourceText("in.json", raw), 1, 1, 3), raw.find('b'));
}

}  // namespace
}  // namespace orv::tool
