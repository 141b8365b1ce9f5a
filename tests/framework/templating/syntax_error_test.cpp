#include <gtest/gtest.h>

#include <string>

#include "orv/templating/template.hpp"

namespace orv::templating {
namespace {

struct Expected {
  std::string message;
  std::size_t line;
  std::size_t column;
  std::string partial;
};

// Compiles `text` with `partials` and returns what the SyntaxError says.
Expected Error(std::string const& text, Partials const& partials = {}) {
  try {
    Template const compiled(text, Escape::Html, partials);
  } catch (SyntaxError const& error) {
    return {error.what(), error.GetLine(), error.GetColumn(), error.GetPartial()};
  }
  return {"no error", 0, 0, ""};
}

void ExpectError(Expected const& actual, std::string const& message, std::size_t line, std::size_t column) {
  EXPECT_EQ(actual.message, message);
  EXPECT_EQ(actual.line, line);
  EXPECT_EQ(actual.column, column);
  EXPECT_EQ(actual.partial, "");
}

TEST(SyntaxError, UnclosedSectionNamesTheOpeningTag) {
  ExpectError(Error("Hello\n  {{#zones}}x"), R"(line 2, column 3: unclosed section "zones": expected "{{/zones}}")", 2,
              3);
  ExpectError(Error("{{^a}}{{#b}}{{/b}}"), R"(line 1, column 1: unclosed section "a": expected "{{/a}}")", 1, 1);
}

TEST(SyntaxError, UnclosedSectionNamesTheInnermostOne) {
  ExpectError(Error("{{#a}}\n{{#b}}\n"), R"(line 2, column 1: unclosed section "b": expected "{{/b}}")", 2, 1);
}

TEST(SyntaxError, UnclosedSectionUsesTheDelimitersInForce) {
  ExpectError(Error("{{#a}}{{=<% %>=}}"), R"(line 1, column 1: unclosed section "a": expected "<%/a%>")", 1, 1);
}

TEST(SyntaxError, MismatchedSectionEnd) {
  ExpectError(Error("{{#a}}\n{{#b}}\n{{/a}}"),
              R"(line 3, column 1: mismatched section end: expected "{{/b}}" for the section opened at line 2, )"
              R"(column 1, found "{{/a}}")",
              3, 1);
}

TEST(SyntaxError, SectionEndWithoutSection) {
  ExpectError(Error("x{{/a}}"), R"(line 1, column 2: unexpected "{{/a}}": no section is open)", 1, 2);
  ExpectError(Error("{{#a}}{{/a}} {{/ a }}"), R"(line 1, column 14: unexpected "{{/a}}": no section is open)", 1, 14);
}

TEST(SyntaxError, UnclosedTag) {
  ExpectError(Error("ab {{name"), R"(line 1, column 4: unclosed tag: expected "}}")", 1, 4);
  ExpectError(Error("x\n{{{name}}"), R"(line 2, column 1: unclosed tag: expected "}}}")", 2, 1);
  ExpectError(Error("{{#a}}{{! no end"), R"(line 1, column 7: unclosed tag: expected "}}")", 1, 7);
  ExpectError(Error("{{=<% %>=}}\n<%name"), R"(line 2, column 1: unclosed tag: expected "%>")", 2, 1);
  ExpectError(Error("{{"), R"(line 1, column 1: unclosed tag: expected "}}")", 1, 1);
}

TEST(SyntaxError, EmptyName) {
  ExpectError(Error("a {{ }}"), R"(line 1, column 3: empty tag: expected a name)", 1, 3);
  ExpectError(Error("{{#}}{{/}}"), R"(line 1, column 1: empty tag: expected a name)", 1, 1);
  ExpectError(Error("{{{}}}"), R"(line 1, column 1: empty tag: expected a name)", 1, 1);
  ExpectError(Error("{{>  }}"), R"(line 1, column 1: empty tag: expected a name)", 1, 1);
}

TEST(SyntaxError, NameWithInnerSpaceNamesTheCharacterAfterIt) {
  ExpectError(Error("{{first name}}"), R"(line 1, column 9: expected "}}" after the name "first")", 1, 9);
  ExpectError(Error("{{{ a\n b }}}"), R"(line 2, column 2: expected "}}}" after the name "a")", 2, 2);
}

TEST(SyntaxError, BadDelimiterChange) {
  ExpectError(Error("{{=<%=}}"),
              R"(line 1, column 1: bad delimiter change: expected two delimiters separated by whitespace, found "<%")",
              1, 1);
  ExpectError(Error("x {{= <% %> | =}}"),
              R"(line 1, column 3: bad delimiter change: expected two delimiters separated by whitespace, )"
              R"(found "<% %> |")",
              1, 3);
  ExpectError(Error("{{= =}}"),
              R"(line 1, column 1: bad delimiter change: expected two delimiters separated by whitespace, found "")", 1,
              1);
  ExpectError(Error("{{=<= =>=}}"),
              R"(line 1, column 1: bad delimiter change: a delimiter must not contain "=", found "<= =>")", 1, 1);
  ExpectError(Error("{{=<% %>}}"), R"(line 1, column 1: unclosed tag: expected "=}}")", 1, 1);
}

TEST(SyntaxError, ColumnsCountCharactersNotBytes) {
  ExpectError(Error("\xE2\x82\xAC\xE2\x82\xAC\t{{#a}}"), R"(line 1, column 4: unclosed section "a": expected "{{/a}}")",
              1, 4);
}

TEST(SyntaxError, ColumnsFollowManyTagsOnOneLine) {
  std::string text = "\xC3\xA9\n";
  for (int i = 0; i < 1000; ++i) {
    text += "\xC3\xA9{{a}}";  // six characters
  }
  text += "{{#b}}";
  ExpectError(Error(text), R"(line 2, column 6001: unclosed section "b": expected "{{/b}}")", 2, 6001);
  // A mismatched end names both tags, the opening one before the closing one.
  ExpectError(Error(text + "{{a}}\n\xC3\xA9{{/c}}"),
              R"(line 3, column 2: mismatched section end: expected "{{/b}}" for the section opened at line 2, )"
              R"(column 6001, found "{{/c}}")",
              3, 2);
}

TEST(SyntaxError, ColumnsInAPartialFollowManyTagsOnOneLine) {
  std::string partial;
  for (int i = 0; i < 1000; ++i) {
    partial += "{{a}}\xC3\xA9";
  }
  Expected const error = Error("{{>p}}", {{"p", partial + "\n{{a}}{{/b}}"}});
  EXPECT_EQ(error.message, R"(partial "p", line 2, column 6: unexpected "{{/b}}": no section is open)");
}

TEST(SyntaxError, ErrorInAPartialNamesThePartial) {
  Expected const error = Error("{{>row}}", {{"head", "ok"}, {"row", "x\n {{#cells}}"}});
  EXPECT_EQ(error.message, R"(partial "row", line 2, column 2: unclosed section "cells": expected "{{/cells}}")");
  EXPECT_EQ(error.line, 2U);
  EXPECT_EQ(error.column, 2U);
  EXPECT_EQ(error.partial, "row");
}

TEST(SyntaxError, UnusedPartialsAreCompiledToo) {
  EXPECT_EQ(Error("plain", {{"spare", "{{/x}}"}}).message,
            R"(partial "spare", line 1, column 1: unexpected "{{/x}}": no section is open)");
}

TEST(SyntaxError, PartialsStartWithTheDefaultDelimiters) {
  EXPECT_EQ(Error("{{=<% %>=}}<%>p%>", {{"p", "<%name%>{{x"}}).message,
            R"(partial "p", line 1, column 9: unclosed tag: expected "}}")");
}

std::string Repeat(std::string const& piece, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text += piece;
  }
  return text;
}

TEST(SyntaxError, SectionsNestAtMostAHundredLevels) {
  std::string const hundred = Repeat("{{#a}}", 99) + "{{^b}}x{{/b}}" + Repeat("{{/a}}", 99);
  EXPECT_EQ(Template(hundred).Render(mstch::map{{"a", true}}), "x");
  ExpectError(Error(Repeat("{{#a}}", 100) + "\n  {{^b}}"),
              R"(line 2, column 3: section "b" would open level 101; sections nest at most 100 levels deep)", 2, 3);
  // Found while compiling, long before the text's end, and never while rendering.
  ExpectError(Error(Repeat("{{#a}}", 50000) + Repeat("{{/a}}", 50000)),
              R"(line 1, column 601: section "a" would open level 101; sections nest at most 100 levels deep)", 1, 601);
  // Sections side by side do not nest.
  EXPECT_EQ(Template(Repeat("{{#a}}{{/a}}", 1000) + "y").Render(mstch::map{{"a", true}}), "y");
}

TEST(SyntaxError, SectionDepthCountsWithinOnePartial) {
  Partials const partials{{"p", Repeat("{{#a}}", 100) + "{{>q}}" + Repeat("{{/a}}", 100)},
                          {"q", Repeat("{{#a}}", 101)}};
  EXPECT_EQ(Error(Repeat("{{#a}}", 100) + "{{>p}}" + Repeat("{{/a}}", 100), partials).message,
            R"(partial "q", line 1, column 601: section "a" would open level 101; sections nest at most 100 levels )"
            R"(deep)");
}

TEST(SyntaxError, TextIsAtMostOneMebibyte) {
  std::string const longest(kMaxTemplateSize, 'x');
  EXPECT_EQ(Template(longest).Render(mstch::map{}).size(), kMaxTemplateSize);
  ExpectError(Error(longest + "y"),
              "line 1, column 1048577: the text is 1048577 bytes long; at most 1048576 bytes (1 MiB) are allowed", 1,
              1048577);
  // The position is that of the first byte beyond the limit.
  std::string const lines = Repeat(
                                "\xC3\xA9"
                                "cdefg\n",
                                kMaxTemplateSize / 8) +
                            "\xC3\xA9";
  ExpectError(Error(lines),
              "line 131073, column 1: the text is 1048578 bytes long; at most 1048576 bytes (1 MiB) are "
              "allowed",
              131073, 1);
  EXPECT_EQ(Error("{{>p}}", {{"p", longest + "\n"}}).message,
            R"(partial "p", line 1, column 1048577: the text is 1048577 bytes long; at most 1048576 bytes (1 MiB) )"
            R"(are allowed)");
}

TEST(SyntaxError, IsARuntimeError) { EXPECT_THROW(Template("{{#a}}"), std::runtime_error); }

}  // namespace
}  // namespace orv::templating
