// Renders the sample data with Template and with mstch::render and expects
// the same text. mstch escapes through one process-wide function; this
// executable sets it to the identity once, and Template escapes nothing
// either, so the comparison is about the language alone.

#include <gtest/gtest.h>

#include <string>

#include "orv/templating/template.hpp"
#include "sample_event.hpp"

namespace orv::templating {
namespace {

class MstchComparison : public testing::TestWithParam<char const*> {
 protected:
  static void SetUpTestSuite() {
    mstch::config::escape = [](std::string const& text) { return text; };
  }
};

TEST_P(MstchComparison, RendersAsMstchDoes) {
  mstch::map const event = sample::MakeEvent(true);
  std::string const expected = mstch::render(GetParam(), event);
  ASSERT_FALSE(expected.empty());
  EXPECT_EQ(Template(GetParam(), Escape::None).Render(event), expected);
}

TEST(MstchComparisonMail, RendersTheSampleMailAsMstchDoes) {
  mstch::config::escape = [](std::string const& text) { return text; };
  mstch::map const event = sample::MakeEvent();
  std::string const expected = mstch::render(sample::kMailTemplate, event);
  ASSERT_GT(expected.size(), 1000U);
  EXPECT_EQ(Template(sample::kMailTemplate, Escape::None).Render(event), expected);
}

// One template per record kind of the sample data, and a few on the language
// around them (context stack, standalone lines, comments, delimiters).
char const* const kTemplates[] = {
    sample::kMailTemplate,
    "{{#the_event}}{{typename}}{{#is.typename.orv.meta.data.Event}} is an event{{/is.typename.orv.meta.data.Event}}"
    "{{#type}} {{string}}{{#intrusion}}!{{/intrusion}}{{/type}}{{/the_event}}",
    "{{#the_event.start}}{{iso8601}} {{epoch}} {{year}}{{month}}{{day}} {{hours}}{{minutes}}{{seconds}} "
    "{{milliseconds}} {{microseconds}} {{nanoseconds}} {{offset.sign}}{{offset.hours}}{{offset.minutes}}"
    "{{/the_event.start}}",
    "{{#the_event.Channel}}{{typename}} {{id}} {{name}}{{/the_event.Channel}}",
    "{{#the_event.Observable}}rule {{id}}{{/the_event.Observable}}",
    "{{#the_event.Zone}}\n  {{id}} {{name}} {{channel}} {{detection}} {{type}} "
    "{{#mask}}mask{{/mask}}{{^mask}}area{{/mask}}\n"
    "  {{#colour}}{{r}} {{g}} {{b}} {{a}}{{/colour}}\n  {{#outline}}{{#rect}}{{top_left.x}} {{bottom_right.y}}{{/rect}}"
    "{{#outline}} {{x}}:{{y}}{{/outline}}{{/outline}}\n{{/the_event.Zone}}\n",
    "{{#the_event.Object}}\n{{id}} {{width}} {{height}}{{#outline.rect}} "
    "{{top_left.x}},{{top_left.y}}{{/outline.rect}}\n"
    "{{/the_event.Object}}",
    "{{#the_event.Object}}{{#Area}}{{typename}} {{value}}{{/Area}} {{#Speed}}{{value}}{{/Speed}}{{/the_event.Object}}",
    "{{#the_event.Object}}{{#Classification}}{{value}}{{/Classification}} {{#DLClassification}}{{class}} "
    "{{confidence}} {{object_id}}{{/DLClassification}};{{/the_event.Object}}",
    "{{#the_event.Object}}{{#ColourSignature}}{{#colours}}{{name}} {{r}} {{g}} {{b}} {{proportion}}, {{/colours}}"
    "{{/ColourSignature}}{{/the_event.Object}}",
    "{{#the_event}}{{#Object}}{{#Area}}{{host}}/{{id}}/{{value}} {{/Area}}{{/Object}}{{/the_event}}",
    "{{#the_event.CountingLine}}{{rule_id}} {{width}} {{position}} {{count}} {{direction}} {{zone_id}}"
    "{{/the_event.CountingLine}}",
    "{{#the_event.Counter}}{{id}} {{name}} {{value}} {{difference}} {{position.x}} "
    "{{position.y}}{{/the_event.Counter}}",
    "{{#the_event.Text}}{{category}}: {{value}}{{/the_event.Text}}",
    "{{#the_event.Armed}}{{typename}}: {{armed}}{{#armed}} yes{{/armed}}{{^armed}} no{{/armed}}\n{{/the_event.Armed}}",
    "{{#the_event.Gone}}gone {{id}}{{/the_event.Gone}}",
    "{{#the_event.GpuStats}}\n  GPU {{utilisation}}% {{memory_used}} bytes\n{{/the_event.GpuStats}}\n",
    "{{#the_event.GroundPoint}}{{value.x}}/{{value.y}}{{/the_event.GroundPoint}}",
    "{{#the_event.Height}}{{#is.typename.orv.meta.data.object.Height}}height {{value}}"
    "{{/is.typename.orv.meta.data.object.Height}}{{/the_event.Height}}",
    "{{#the_event.History}}{{object_id}}:{{#points}} {{x}},{{y}}{{/points}}{{/the_event.History}}",
    "{{#the_event.Merged}}{{#in_ids}}{{.}}+{{/in_ids}}={{out_id}}{{/the_event.Merged}}",
    "{{#the_event.Split}}{{in_id}}={{#out_ids}}{{.}} {{/out_ids}}{{/the_event.Split}}",
    "{{#the_event.Tamper}}tampered ({{typename}}){{/the_event.Tamper}}{{^the_event.Tamper}}intact{{/the_event.Tamper}}",
    "{{#the_event.Pixels}}{{value}} px{{/the_event.Pixels}}",
    "{{#the_event.CalibratedPosition}}{{#value}}({{x}}; {{y}}){{/value}}{{/the_event.CalibratedPosition}}",
    "{{#the_event.SegmentedColourSignature}}{{#segments}}{{#upper.colours}}{{name}}={{proportion}}{{/upper.colours}}"
    "{{^lower.colours}} lower empty{{/lower.colours}}{{/segments}}{{/the_event.SegmentedColourSignature}}",
    "  {{#the_event.Zone}}\n  - {{name}}\n  {{/the_event.Zone}}\n{{! a comment }}\n{{#the_event}}\n  {{^nothing}}\n"
    "none\n{{/nothing}}\n{{/the_event}}",
    "{{=<% %>=}}<%the_event.name%> <%={{ }}=%>{{the_event.ip}} {{{the_event.host}}} {{&the_event.id}}",
};

INSTANTIATE_TEST_SUITE_P(EveryRecordKind, MstchComparison, testing::ValuesIn(kTemplates));

}  // namespace
}  // namespace orv::templating
