// Templates glued together from random pieces of mustache syntax: each one
// either compiles or throws SyntaxError, and each that compiles renders and
// is checked without any other exception. Run under the sanitizers, this
// walks the compiler through many malformed inputs.

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "orv/templating/template.hpp"

namespace orv::templating {
namespace {

using Text = std::string;

char const* const kPieces[] = {"{{",     "}}",          "{{{",  "}}}",    "#",      "^",      "/",      "!",
                               ">",      "&",           "=",    "a",      "b",      ".",      "a.b",    " ",
                               "\t",     "\n",          "\r\n", "{{#a}}", "{{/a}}", "{{^b}}", "{{/b}}", "{{.}}",
                               "{{>p}}", "{{=<% %>=}}", "<%",   "%>",     "<%/a%>", "x",      "{{!",    "é"};

TEST(RandomTemplate, CompilesOrThrowsSyntaxErrorAndThenRenders) {
  std::mt19937 random(20251121);
  std::uniform_int_distribution<std::size_t> piece(0, std::size(kPieces) - 1);
  std::uniform_int_distribution<int> length(0, 24);
  mstch::map const data{{"a", mstch::array{mstch::map{{"b", Text("1")}}, Text("2")}}, {"b", mstch::map{{"a", true}}}};
  int compiled = 0;
  for (int round = 0; round < 5000; ++round) {
    Text text;
    Text partial;
    for (int i = length(random); i > 0; --i) {
      text += kPieces[piece(random)];
    }
    for (int i = length(random) / 3; i > 0; --i) {
      partial += kPieces[piece(random)];
    }
    try {
      Template const compiledTemplate(text, Escape::Html, {{"p", partial}});
      ++compiled;
      compiledTemplate.Render(data);
      compiledTemplate.FindMissingNames(data);
    } catch (SyntaxError const& error) {
      EXPECT_GE(error.GetLine(), 1U);
      EXPECT_GE(error.GetColumn(), 1U);
    } catch (std::length_error const&) {
      // a partial that includes itself
    } catch (std::exception const& error) {
      ADD_FAILURE() << error.what() << " for " << text << " with partial " << partial;
    }
  }
  // Both outcomes occur, so the loop exercises both paths.
  EXPECT_GT(compiled, 500);
  EXPECT_LT(compiled, 4500);
}

// `text` with `indent` at the start of every line but an empty last one.
Text Indented(Text const& text, Text const& indent) {
  Text indented;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i == 0 || text[i - 1] == '\n') {
      indented += indent;
    }
    indented += text[i];
  }
  return indented;
}

// A standalone partial renders as its text indented line by line would.
TEST(RandomTemplate, StandalonePartialRendersAsItsIndentedText) {
  std::mt19937 random(7);
  std::uniform_int_distribution<std::size_t> piece(0, std::size(kPieces) - 1);
  std::uniform_int_distribution<int> length(0, 16);
  mstch::map const data{{"a", mstch::array{mstch::map{{"b", Text("1\n2")}}, Text("2")}},
                        {"b", mstch::map{{"a", true}}}};
  int compared = 0;
  for (int round = 0; round < 5000; ++round) {
    Text partial;
    for (int i = length(random); i > 0; --i) {
      Text const next = kPieces[piece(random)];
      partial += next == "{{>p}}" ? "{{>q}}" : next;
    }
    bool indentedFails = false;
    try {
      Template const indented("{{>p}}", Escape::Html, {{"p", Indented(partial, " \t")}});
    } catch (SyntaxError const&) {
      indentedFails = true;
    }
    try {
      Text const viaIndentation = Template(" \t{{>p}}\n", Escape::Html, {{"p", partial}}).Render(data);
      ASSERT_FALSE(indentedFails) << "partial: " << partial;
      Text const viaText = Template("{{>p}}", Escape::Html, {{"p", Indented(partial, " \t")}}).Render(data);
      EXPECT_EQ(viaIndentation, viaText) << "partial: " << partial;
      ++compared;
    } catch (SyntaxError const&) {
      EXPECT_TRUE(indentedFails) << "partial: " << partial;
    }
  }
  EXPECT_GT(compared, 500);
}

}  // namespace
}  // namespace orv::templating
