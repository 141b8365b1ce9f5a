#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "orv/templating/template.hpp"
#include "print.hpp"
#include "sample_event.hpp"

namespace orv::templating {
namespace {

using Text = std::string;
using Missing = std::vector<MissingName>;

TEST(MissingNames, NoneForTheSampleMail) {
  EXPECT_EQ(Template(sample::kMailTemplate).FindMissingNames(sample::MakeEvent()), Missing{});
}

TEST(MissingNames, FindsMisspeltNamesInEveryKindOfTag) {
  Template const compiled(
      "{{the_event.nmae}} {{the_event.name}}\n"
      "{{#the_event.Zone}}{{name}} {{colour.rr}}{{/the_event.Zone}}\n"
      "{{#the_event.Nothing}}{{whatever}}{{/the_event.Nothing}}{{^the_event.Zone}}{{the_event.idd}}{{/"
      "the_event.Zone}}\n"
      "{{#the_event.type.intrusion}}{{typ}}{{.}}{{/the_event.type.intrusion}}"
      "{{#the_event.Object}}{{#Area}}{{value}}{{valu}}{{/Area}}{{/the_event.Object}}\n"
      "{{>p}}{{{the_event.name.first}}}",
      Escape::Html, {{"p", "{{host}}\n{{the_event.host}}{{#the_event}}{{host}}{{/the_event}}"}});
  EXPECT_EQ(compiled.FindMissingNames(sample::MakeEvent()), (Missing{
                                                                {"the_event.nmae", "", 1, 1},
                                                                {"colour.rr", "", 2, 29},
                                                                {"the_event.Nothing", "", 3, 1},
                                                                {"the_event.idd", "", 3, 76},
                                                                {"typ", "", 4, 30},
                                                                {"valu", "", 4, 110},
                                                                {"the_event.name.first", "", 5, 7},
                                                                {"host", "p", 1, 1},
                                                            }));
}

TEST(MissingNames, ANameFoundInOneElementIsNotMissing) {
  mstch::map const data{{"list", mstch::array{mstch::map{{"a", Text("1")}}, mstch::map{{"b", Text("2")}}}}};
  EXPECT_EQ(Template("{{#list}}{{a}}{{b}}{{c}}{{/list}}").FindMissingNames(data), (Missing{{"c", "", 1, 20}}));
}

TEST(MissingNames, UndecidableSectionsAreNotChecked) {
  mstch::map const data{{"list", mstch::array{}}, {"null", nullptr}};
  EXPECT_EQ(Template("{{#list}}{{x}}{{/list}}{{#null}}{{y}}{{/null}}{{null}}").FindMissingNames(data), Missing{});
}

TEST(MissingNames, FalseSectionsAreCheckedInTheirContext) {
  mstch::map const data{{"no", false}, {"empty", Text("")}, {"name", Text("n")}};
  EXPECT_EQ(Template("{{#no}}{{name}}{{x}}{{/no}}{{#empty}}{{.}}{{y}}{{/empty}}").FindMissingNames(data),
            (Missing{{"x", "", 1, 16}, {"y", "", 1, 43}}));
}

TEST(MissingNames, RecursivePartialsEnd) {
  Template const compiled("{{>p}}", Escape::Html, {{"p", "{{^x}}{{>p}}{{/x}}{{y}}"}});
  EXPECT_EQ(compiled.FindMissingNames(mstch::map{}), (Missing{{"x", "p", 1, 1}, {"y", "p", 1, 19}}));
}

TEST(MissingNames, PartialsThatWereNotGiven) {
  Template const compiled("a {{>head}}\n  {{>nowhere}}\n{{#list}}{{>gone}}{{/list}}{{>p}}", Escape::Html,
                          {{"head", "{{>p}}"}, {"p", "{{x}}\n {{>nowhere}}"}});
  mstch::map const data{{"list", mstch::array{}}, {"x", Text("1")}};
  // Reported wherever they stand, since no data can provide them, each tag once.
  EXPECT_EQ(compiled.FindMissingNames(data), (Missing{
                                                 {"nowhere", "", 2, 3, true},
                                                 {"gone", "", 3, 10, true},
                                                 {"nowhere", "p", 2, 2, true},
                                             }));
  // and they render as nothing, their standalone lines included.
  EXPECT_EQ(compiled.Render(data), "a 1\n\n1\n");
  EXPECT_EQ(Template("{{>p}}").FindMissingNames(mstch::map{}), (Missing{{"p", "", 1, 1, true}}));
}

TEST(MissingNames, NamesAndPartialsInTheOrderOfTheText) {
  Template const compiled("{{a}}{{>b}}{{c}}\n{{=<% %>=}}<%>d%>");
  EXPECT_EQ(compiled.FindMissingNames(mstch::map{}), (Missing{
                                                         {"a", "", 1, 1, false},
                                                         {"b", "", 1, 6, true},
                                                         {"c", "", 1, 12, false},
                                                         {"d", "", 2, 12, true},
                                                     }));
}

TEST(MissingNames, LambdasAreErrors) {
  mstch::map const data{{"fn", mstch::lambda{[]() -> mstch::node { return Text("x"); }}}};
  EXPECT_THROW(Template("{{fn}}").FindMissingNames(data), std::invalid_argument);
}

}  // namespace
}  // namespace orv::templating
