#include "orv/templating/escape.hpp"

#include <gtest/gtest.h>

#include <string>

#include "orv/templating/template.hpp"

namespace orv::templating {
namespace {

// Every character that any of the modes treats specially, with plain text and
// a two-byte UTF-8 character around them.
std::string const kSpecial =
    "a&b<c>d\"e'f/g\\h i\tj\nk\rl\bm\fn\x01o\x1fp\x7fq%r+s=t?u#v~w-x.y_z\xC3\xA9"
    "AZ09";

std::string Escaped(std::string_view text, Escape escape) {
  std::string out = "[";
  AppendEscaped(out, text, escape);
  return out;
}

TEST(Escape, NamesAndBack) {
  EXPECT_EQ(EscapeFromName("none"), Escape::None);
  EXPECT_EQ(EscapeFromName("html"), Escape::Html);
  EXPECT_EQ(EscapeFromName("url"), Escape::Url);
  EXPECT_EQ(EscapeFromName("json"), Escape::Json);
  EXPECT_EQ(EscapeFromName("HTML"), std::nullopt);
  EXPECT_EQ(EscapeFromName(""), std::nullopt);
  EXPECT_EQ(EscapeFromName("auto"), std::nullopt);
  for (Escape const escape : {Escape::None, Escape::Html, Escape::Url, Escape::Json}) {
    EXPECT_EQ(EscapeFromName(GetName(escape)), escape);
  }
  EXPECT_STREQ(GetName(Escape::Json), "json");
}

TEST(Escape, NoneKeepsTheText) { EXPECT_EQ(Escaped(kSpecial, Escape::None), "[" + kSpecial); }

TEST(Escape, HtmlReplacesTheFiveMarkupCharacters) {
  EXPECT_EQ(Escaped(kSpecial, Escape::Html),
            "[a&amp;b&lt;c&gt;d&quot;e&#39;f/g\\h i\tj\nk\rl\bm\fn\x01o\x1fp\x7fq%r+s=t?u#v~w-x.y_z\xC3\xA9"
            "AZ09");
}

TEST(Escape, UrlKeepsOnlyUnreservedCharacters) {
  EXPECT_EQ(Escaped(kSpecial, Escape::Url),
            "[a%26b%3Cc%3Ed%22e%27f%2Fg%5Ch%20i%09j%0Ak%0Dl%08m%0Cn%01o%1Fp%7Fq%25r%2Bs%3Dt%3Fu%23v~w-x.y_z%C3%A9"
            "AZ09");
}

TEST(Escape, JsonEscapesQuotesBackslashesAndControlCharacters) {
  EXPECT_EQ(Escaped(kSpecial, Escape::Json),
            "[a&b<c>d\\\"e'f/g\\\\h i\\tj\\nk\\rl\\bm\\fn\\u0001o\\u001fp\x7fq%r+s=t?u#v~w-x.y_z\xC3\xA9"
            "AZ09");
}

TEST(Escape, EveryControlCharacterIsValidJson) {
  std::string control;
  for (char c = 0; c < 0x20; ++c) {
    control += c;
  }
  EXPECT_EQ(Escaped(control, Escape::Json),
            "[\\u0000\\u0001\\u0002\\u0003\\u0004\\u0005\\u0006\\u0007\\b\\t\\n\\u000b\\f\\r\\u000e\\u000f"
            "\\u0010\\u0011\\u0012\\u0013\\u0014\\u0015\\u0016\\u0017\\u0018\\u0019\\u001a\\u001b\\u001c\\u001d"
            "\\u001e\\u001f");
}

TEST(Escape, EmptyTextAppendsNothing) {
  for (Escape const escape : {Escape::None, Escape::Html, Escape::Url, Escape::Json}) {
    EXPECT_EQ(Escaped("", escape), "[");
  }
}

TEST(Escape, TemplateEscapesOnlyEscapedTags) {
  mstch::map const data{{"v", std::string("<a b=\"&\">")}, {"n", -1.5}};
  std::string const text = "{{v}}|{{{v}}}|{{&v}}|{{n}}";
  EXPECT_EQ(Template(text).Render(data), "&lt;a b=&quot;&amp;&quot;&gt;|<a b=\"&\">|<a b=\"&\">|-1.5");
  EXPECT_EQ(Template(text, Escape::Html).GetEscape(), Escape::Html);
  EXPECT_EQ(Template(text, Escape::None).Render(data), "<a b=\"&\">|<a b=\"&\">|<a b=\"&\">|-1.5");
  EXPECT_EQ(Template(text, Escape::Url).Render(data), "%3Ca%20b%3D%22%26%22%3E|<a b=\"&\">|<a b=\"&\">|-1.5");
  EXPECT_EQ(Template(text, Escape::Json).Render(data), "<a b=\\\"&\\\">|<a b=\"&\">|<a b=\"&\">|-1.5");
  EXPECT_EQ(Template(text, Escape::Json).GetEscape(), Escape::Json);
}

TEST(Escape, UrlEscapesNumbersToo) {
  EXPECT_EQ(Template("{{n}}", Escape::Url).Render(mstch::map{{"n", 1e21}}), "1e%2B21");
}

}  // namespace
}  // namespace orv::templating
