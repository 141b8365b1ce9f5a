#include "orv/templating/template.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "print.hpp"
#include "sample_event.hpp"

namespace orv::templating {
namespace {

using Text = std::string;

TEST(Template, RendersEveryKindOfValue) {
  mstch::map const data{{"text", Text("abc")}, {"int", -42},
                        {"double", 1.21},      {"sum", 0.1 + 0.2},
                        {"big", 1e21},         {"yes", true},
                        {"no", false},         {"null", nullptr},
                        {"map", mstch::map{}}, {"list", mstch::array{Text("x")}}};
  EXPECT_EQ(Template("{{text}} {{int}} {{double}} {{sum}} {{big}} {{yes}} {{no}} [{{null}}{{map}}{{list}}{{none}}]")
                .Render(data),
            "abc -42 1.21 0.30000000000000004 1e+21 true false []");
}

TEST(Template, FalseValuesOfSections) {
  mstch::map const data{
      {"empty", Text("")},      {"zero", 0},         {"zeroDouble", 0.0}, {"no", false}, {"null", nullptr},
      {"none", mstch::array{}}, {"text", Text("0")}, {"one", 1},          {"half", 0.5}, {"map", mstch::map{}}};
  std::string const text =
      "{{#empty}}E{{/empty}}{{#zero}}Z{{/zero}}{{#zeroDouble}}D{{/zeroDouble}}{{#no}}N{{/no}}{{#null}}U{{/null}}"
      "{{#none}}A{{/none}}{{#missing}}M{{/missing}}|{{#text}}[{{.}}]{{/text}}{{#one}}[{{.}}]{{/one}}"
      "{{#half}}[{{.}}]{{/half}}{{#map}}[map]{{/map}}|{{^empty}}e{{/empty}}{{^zero}}z{{/zero}}{{^text}}t{{/text}}";
  EXPECT_EQ(Template(text).Render(data), "|[0][1][0.5][map]|ez");
}

TEST(Template, ALineWithTwoTagsIsNotStandalone) {
  mstch::map const data{{"a", true}, {"b", false}};
  EXPECT_EQ(Template("{{#a}}{{^b}}\nx\n{{/b}}\n{{/a}}\n").Render(data), "\nx\n");
  EXPECT_EQ(Template("{{#a}}\n  {{^b}}\nx\n{{/b}}\n{{/a}}\n").Render(data), "x\n");
}

TEST(Template, SectionOverTrueKeepsTheContext) {
  mstch::map const data{{"flag", true}, {"name", Text("n")}};
  EXPECT_EQ(Template("{{#flag}}{{name}} {{.}}{{/flag}}").Render(data), "n true");
}

TEST(Template, RendersAnySubTree) {
  mstch::map const event = sample::MakeEvent();
  mstch::node const& theEvent = event.at("the_event");
  EXPECT_EQ(Template("{{name}} on {{host}}", Escape::None).Render(theEvent), "Fence & gate <north> on camera-07");
  EXPECT_EQ(Template("{{.}}").Render(Text("a<b")), "a&lt;b");
}

TEST(Template, MapAndNodeRenderAlike) {
  mstch::map const map{{"a", Text("x")}, {"list", mstch::array{Text("1"), Text("2")}}};
  mstch::node const node = map;
  Template const compiled("{{a}}[{{.}}]{{#.}}({{a}}){{/.}}{{^.}}none{{/.}}{{#list}}{{.}}{{/list}}");
  EXPECT_EQ(compiled.Render(map), "x[](x)12");
  EXPECT_EQ(compiled.Render(node), "x[](x)12");
  std::string out;
  compiled.RenderTo(map, out);
  compiled.RenderTo(node, out);
  EXPECT_EQ(out, "x[](x)12x[](x)12");
  Template const missing("{{#.}}{{b}}{{/.}}");
  EXPECT_EQ(missing.FindMissingNames(map), (std::vector<MissingName>{{"b", "", 1, 7}}));
  EXPECT_EQ(missing.FindMissingNames(node), (std::vector<MissingName>{{"b", "", 1, 7}}));
}

TEST(Template, DefaultTemplateIsEmpty) {
  Template const empty;
  EXPECT_EQ(empty.Render(mstch::map{{"a", Text("b")}}), "");
  EXPECT_EQ(empty.GetEscape(), Escape::Html);
}

TEST(Template, CopiesRenderAlike) {
  Template const original("<{{a}}>");
  Template const copy = original;  // NOLINT(performance-unnecessary-copy-initialization)
  mstch::map const data{{"a", Text("1")}};
  EXPECT_EQ(copy.Render(data), "<1>");
  EXPECT_EQ(original.Render(data), "<1>");
}

TEST(Template, RenderToAppends) {
  std::string out = "before:";
  Template("{{a}}!").RenderTo(mstch::map{{"a", Text("x")}}, out);
  EXPECT_EQ(out, "before:x!");
}

TEST(Template, StandalonePartialsNestTheirIndentation) {
  Partials const partials{{"outer", "a\n  {{>inner}}\nb {{>inline}}\n"}, {"inner", "x\n{{v}}\n"}, {"inline", "1\n2"}};
  EXPECT_EQ(Template("  {{>outer}}\n", Escape::None, partials).Render(mstch::map{{"v", Text("p\nq")}}),
            "  a\n    x\n    p\nq\n  b 1\n2\n");
}

TEST(Template, IndentationSkipsRemovedLinesAndStartsTagLines) {
  Partials const partials{{"p", "{{#s}}\n{{v}}\n{{/s}}\n{{! note }}end\n"}};
  Template const compiled(">\n   {{>p}}\n<", Escape::None, partials);
  EXPECT_EQ(compiled.Render(mstch::map{{"s", true}, {"v", Text("V")}}), ">\n   V\n   end\n<");
  EXPECT_EQ(compiled.Render(mstch::map{{"s", false}}), ">\n   end\n<");
}

TEST(Template, UnknownPartialRendersNothing) {
  EXPECT_EQ(Template("a\n  {{>nowhere}}\nb").Render(mstch::map{}), "a\nb");
}

TEST(Template, EndlessPartialRecursionIsAnError) {
  Template const compiled("{{>p}}", Escape::Html, {{"p", "x{{>p}}"}});
  try {
    compiled.Render(mstch::map{});
    ADD_FAILURE() << "no exception";
  } catch (std::length_error const& error) {
    EXPECT_STREQ(error.what(), "partial \"p\" nests more than 256 partials deep");
  }
}

std::string InvalidArgument(Template const& compiled, mstch::node const& data) {
  try {
    compiled.Render(data);
  } catch (std::invalid_argument const& error) {
    return error.what();
  }
  return "no exception";
}

TEST(Template, LambdasAndObjectsAreClearErrors) {
  mstch::map const data{{"fn", mstch::lambda{[]() -> mstch::node { return Text("x"); }}},
                        {"object", std::make_shared<mstch::object>()},
                        {"list", mstch::array{mstch::lambda{[]() -> mstch::node { return Text("x"); }}}}};
  EXPECT_EQ(InvalidArgument(Template("ab {{fn}}"), data),
            "line 1, column 4: \"fn\" is a lambda; template data holds only text, numbers, booleans, maps and lists");
  EXPECT_EQ(InvalidArgument(Template("\n{{#object}}{{/object}}"), data),
            "line 2, column 1: \"object\" is a shared object; template data holds only text, numbers, booleans, maps "
            "and lists");
  EXPECT_EQ(InvalidArgument(Template("{{^fn}}{{/fn}}"), data),
            "line 1, column 1: \"fn\" is a lambda; template data holds only text, numbers, booleans, maps and lists");
  EXPECT_EQ(InvalidArgument(Template("{{#list}}{{{.}}}{{/list}}"), data),
            "line 1, column 10: \".\" is a lambda; template data holds only text, numbers, booleans, maps and lists");
  EXPECT_EQ(InvalidArgument(Template("{{>p}}", Escape::Html, {{"p", "{{&object}}"}}), data),
            "partial \"p\", line 1, column 1: \"object\" is a shared object; template data holds only text, "
            "numbers, booleans, maps and lists");
  // Never looked at, never an error.
  EXPECT_EQ(Template("{{#list}}x{{/list}}").Render(data), "x");
}

// The mail as the sample data must give it: checked line by line against the
// data of sample_event.cpp.
char const kExpectedMail[] =
    R"(Subject: Fence & gate <north> on camera-07
Event 4711 "Fence & gate <north>" (intrusion), an intrusion
Started 2025-11-21 08:00:45.123 +01:00
Ended   2025-11-21T08:00:47.000000001+01:00 (epoch 1763712045)
Device  camera-07 (192.168.10.57)
Channel 1: Yard
Zone 1 "Gate" on channel 1: centre_of_gravity, include
  colour rgba(255, 128, 0, 96)
  box 1000,2000 to 20999,21999
  points: (1000, 2000) (8919, 6729) (16838, 11458) (4757, 16187) (12676, 20916) (20595, 5645)
Zone 2 "Fence "east"" on channel 1: centre_of_gravity, include (mask)
  colour rgba(255, 128, 0, 96)
  box 2000,4000 to 21999,23999
  points: (2000, 4000) (9919, 8729) (17838, 13458) (5757, 18187) (13676, 22916) (21595, 7645)
Object 31, 9000 x 12000, tracked
  class person
  person with confidence 0.91 for object 31
  area 0.0254 speed 1.5
  colours: red 0.5 grey 0.25 blue 0.25
  outline: (93000,46500) (100919,52229) (99838,48958) (98757,54687) (97676,51416) (96595,48145) (95514,53874) (94433,50603)
Object 32, 9000 x 12000, tracked
  class vehicle
  vehicle with confidence 0.78 for object 32
  area 0.0254 speed 1.5
  colours: red 0.5 grey 0.25 blue 0.25
  outline: (96000,48000) (103919,53729) (102838,50458) (101757,56187) (100676,52916) (99595,49645) (98514,55374) (97433,52103)
Object 33, 9000 x 12000, tracked
  class bicycle
  bicycle with confidence 0.66 for object 33
  area 0.0254 speed 1.5
  colours: red 0.5 grey 0.25 blue 0.25
  outline: (99000,49500) (106919,55229) (105838,51958) (104757,57687) (103676,54416) (102595,51145) (101514,56874) (100433,53603)
Line 5: count 17 left_to_right in zone 1
Visitors = -2 (1) at 100,200
note: Gate left open
--
orv.meta.data.Event #4711
)";

TEST(Template, RendersTheSampleMail) {
  EXPECT_EQ(Template(sample::kMailTemplate, Escape::None).Render(sample::MakeEvent()), kExpectedMail);
}

TEST(Template, RendersConcurrentlyFromTwoThreads) {
  Template const mail(sample::kMailTemplate, Escape::Html);
  mstch::map const event = sample::MakeEvent();
  std::string const expected = mail.Render(event);
  ASSERT_NE(expected.find("Fence &amp; gate &lt;north&gt;"), std::string::npos);
  std::vector<int> mismatches(2, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        mismatches[static_cast<std::size_t>(t)] += mail.Render(event) == expected ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(mismatches, (std::vector<int>{0, 0}));
}

TEST(Template, SampleEventHasTheSizeOfARealOne) { EXPECT_EQ(sample::CountNodes(sample::MakeEvent()), 561U); }

}  // namespace
}  // namespace orv::templating
