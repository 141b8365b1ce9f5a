#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "golden_event.hpp"
#include "orv/action/serialize.hpp"
#include "orv/action/template_data_json.hpp"
#include "orv/meta/data/armed.hpp"
#include "orv/meta/data/channel.hpp"
#include "orv/meta/data/classification/confidence.hpp"
#include "orv/meta/data/classification/name.hpp"
#include "orv/meta/data/colour_signature.hpp"
#include "orv/meta/data/count/line.hpp"
#include "orv/meta/data/count/value.hpp"
#include "orv/meta/data/gpu_stats.hpp"
#include "orv/meta/data/object/area.hpp"
#include "orv/meta/data/object/calibrated_position.hpp"
#include "orv/meta/data/object/gone.hpp"
#include "orv/meta/data/object/ground_point.hpp"
#include "orv/meta/data/object/height.hpp"
#include "orv/meta/data/object/history.hpp"
#include "orv/meta/data/object/merged.hpp"
#include "orv/meta/data/object/pixel_count.hpp"
#include "orv/meta/data/object/speed.hpp"
#include "orv/meta/data/object/split.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/meta/data/segmented_colour_signature.hpp"
#include "orv/meta/data/tampered.hpp"
#include "orv/meta/data/text.hpp"
#include "orv/meta/data/tracked_object.hpp"
#include "orv/meta/data/zone.hpp"
#include "orv/test/scoped_time_zone.hpp"
#include "program.hpp"

namespace orv::tool {
namespace {

namespace fs = std::filesystem;
namespace data = meta::data;
using namespace std::chrono_literals;
using testing::kExamples;
using testing::Outcome;
using testing::Program;
using testing::Slurp;

// The template data of `event`, as `data` prints it.
std::string DataText(std::shared_ptr<data::Event const> const& event) {
  return action::TemplateDataToJson(action::SerializeEvent(event), 2) + "\n";
}

TEST_F(Program, WithoutACommandPrintsTheCommandsAndFails) {
  Outcome const outcome = Run({});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err.rfind("usage: orv-action <command> [arguments]\n", 0), 0U) << outcome.err;
  for (char const* command : {"  data ", "  render ", "  types ", "  test ", "  run ", "  studio ", "  outbox "}) {
    EXPECT_NE(outcome.err.find(command), std::string::npos) << command;
  }
}

TEST_F(Program, EveryCommandHasHelp) {
  std::map<std::string, std::string> const usages = {
      {"data", "usage: orv-action data [EVENT]\n"},
      {"render", "usage: orv-action render [EVENT] [TEMPLATE] [--escape none|html|url|json]\n"},
      {"types", "usage: orv-action types\n"},
      {"test", "usage: orv-action test TYPE [--set NAME=VALUE]... [--text TEXT]\n"},
      {"run", "usage: orv-action run CONFIG [EVENTS] [--outbox PATH] [--check] [--wait SECONDS]\n"},
      {"outbox", "usage: orv-action outbox PATH [--requeue ID]... [--requeue-all]\n"}};
  for (auto const& [command, usage] : usages) {
    Outcome const outcome = Run({command, "--help"});
    EXPECT_EQ(outcome.exit, 0) << command;
    EXPECT_EQ(outcome.out.rfind(usage, 0), 0U) << outcome.out;
    EXPECT_EQ(outcome.err, "");
  }
}

TEST_F(Program, UnknownCommand) {
  Outcome const outcome = Run({"frobnicate"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_EQ(outcome.err.rfind("orv-action: unknown command 'frobnicate'\n\nusage: orv-action <command>", 0), 0U);
}

TEST_F(Program, DataWithoutAnEventShowsTheBundledExample) {
  Outcome const outcome = Run({"data"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.out, DataText(examples::MakeGoldenEvent()));
  EXPECT_EQ(outcome.err, "");
}

TEST_F(Program, DataOfTheGoldenEventFileIsTheGoldenEventsData) {
  Outcome const outcome = Run({"data", kExamples + "/golden/golden_event.json"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.out, DataText(examples::MakeGoldenEvent()));
}

TEST_F(Program, DataReadsStandardInput) {
  Outcome const outcome = Run({"data", "-"}, Slurp(kExamples + "/golden/golden_event.json"));
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.out, DataText(examples::MakeGoldenEvent()));
}

// The event of examples/events/every_kind.json, built in code.
std::shared_ptr<data::Event const> MakeEveryKindEvent() {
  using N = geometry::normalized::Value<unsigned short>;
  using NP = geometry::Point<N, 2>;
  using ColourData = data::ColourSignature::ColourData;
  using Segment = data::SegmentedColourSignature::Segment;
  auto const point = [](unsigned short x, unsigned short y) { return NP(N(x), N(y)); };
  auto const at = [](int seconds) {
    return data::TimePoint(std::chrono::sys_days(std::chrono::year(2024) / 1 / 1).time_since_epoch() +
                           std::chrono::seconds(seconds));
  };
  auto const inner = std::make_shared<data::TrackedObject>(2, geometry::NormalizedPolygon({point(1, 2)}), N(10), N(20),
                                                           data::Objects{std::make_shared<data::object::Gone>(9)});
  data::Objects const objects{
      std::make_shared<data::object::Area>(0.5F),
      std::make_shared<data::Armed>(true),
      std::make_shared<data::object::CalibratedPosition>(geometry::Point<float, 2>(1.5F, -2.25F)),
      std::make_shared<data::Channel>(3, "Yard"),
      std::make_shared<data::classification::Name>("person"),
      std::make_shared<data::ColourSignature>(std::vector<ColourData>{ColourData("red", 255, 0, 0, 0.75F)}),
      std::make_shared<data::count::Value>(4, "In", -3, 0, point(100, 200)),
      std::make_shared<data::count::Line>(5, N(65535), N(32768), 7, data::line::Direction::BToA, 6),
      std::make_shared<data::classification::Confidence>("car", 0.87654321F, 2),
      std::make_shared<data::object::Gone>(11),
      std::make_shared<data::GpuStats>(42, 5000000000ULL),
      std::make_shared<data::object::GroundPoint>(point(300, 400)),
      std::make_shared<data::object::Height>(1.75F),
      std::make_shared<data::object::History>(
          2, std::map<data::TimePoint, data::object::GroundPoint>{{at(2), data::object::GroundPoint(point(5, 6))},
                                                                  {at(1), data::object::GroundPoint(point(3, 4))}}),
      std::make_shared<data::object::Merged>(std::vector<std::uint32_t>{}, 12),
      std::make_shared<data::TrackedObject>(1, geometry::NormalizedPolygon({point(0, 0), point(65535, 65535)}),
                                            N(32768), N(100),
                                            data::Objects{std::make_shared<data::object::Speed>(2.5F), inner}),
      std::make_shared<data::Observable>(17),
      std::make_shared<data::object::PixelCount>(4096U),
      std::make_shared<data::SegmentedColourSignature>(std::map<Segment, data::ColourSignature>{
          {Segment::Full, data::ColourSignature({ColourData("grey", 128, 128, 128, 1.0F)})},
          {Segment::Lower, data::ColourSignature({})}}),
      std::make_shared<data::object::Speed>(3.0F),
      std::make_shared<data::object::Split>(13, std::vector<std::uint32_t>{14, 15}),
      std::make_shared<data::Tampered>(),
      std::make_shared<data::Text>("hello", "note"),
      std::make_shared<data::Zone>(8, "Door", 3, std::array<std::uint8_t, 4>{255, 0, 128, 255},
                                   data::zone::Detection::Presence, data::zone::Type::Counting,
                                   geometry::NormalizedPolygon({point(10, 20), point(30, 5)}), true),
  };
  auto const start = data::TimePoint(std::chrono::sys_days(std::chrono::year(2024) / 5 / 6).time_since_epoch() + 5h +
                                     8min + 9s + 123456789ns);
  auto event = std::make_shared<data::Event>("Every kind", "motion", "test", start, objects);
  event->SetId(99);
  event->SetEnd(data::TimePoint(std::chrono::sys_days(std::chrono::year(2024) / 5 / 6).time_since_epoch() + 12h +
                                38min + 10s + 1ns));
  return event;
}

TEST_F(Program, DataOfEveryRecordKind) {
  Outcome const outcome = Run({"data", kExamples + "/events/every_kind.json"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.out, DataText(MakeEveryKindEvent()));
}

TEST_F(Program, MalformedJsonNamesFileLineAndColumn) {
  Write("bad.json", "{\n  \"name\": \"x\",\n  \"type\" \"motion\"\n}\n");
  Outcome const outcome = Run({"data", "bad.json"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err,
            "orv-action data: bad.json:3:17: syntax error while parsing object separator - unexpected string "
            "literal; expected ':'\n");
}

TEST_F(Program, AWrongFieldTypeNamesItsPath) {
  Write("event.json",
        R"({"name": "x", "type": "motion", "category": "c", "start": "2024-05-06T07:08:09.000000000Z",
            "objects": [{"kind": "Zone", "id": 1, "name": "Door", "channel": 1,
                         "colour": {"r": 255, "g": 300, "b": 0, "a": 0}, "detection": "enter",
                         "type": "detection", "outline": [], "mask": false}]})");
  Outcome const outcome = Run({"data", "event.json"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(
      outcome.err,
      "orv-action data: event.json:3:52: $.objects[0].colour.g: expected an unsigned 8-bit number (0 to 255), found "
      "300\n");
}

TEST_F(Program, AnUnknownObjectKindListsTheKinds) {
  Write("event.json",
        R"({"name": "x", "type": "motion", "category": "c", "start": "2024-05-06T07:08:09.000000000Z",
            "objects": [{"kind": "Area", "value": 1}, {"kind": "Zones"}]})");
  Outcome const outcome = Run({"data", "event.json"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(
      outcome.err,
      "orv-action data: event.json:2:64: $.objects[1].kind: unknown object kind 'Zones'; expected one of Area, Armed, "
      "CalibratedPosition, Channel, Classification, ColourSignature, Counter, CountingLine, DLClassification, "
      "Gone, GpuStats, GroundPoint, Height, History, Merged, Object, Observable, Pixels, "
      "SegmentedColourSignature, Speed, Split, Tamper, Text, Zone\n");
}

TEST_F(Program, MissingFieldsBadTimesAndMisspeltFieldsAreNamed) {
  Write("missing.json", R"({"name": "x", "type": "motion", "start": "2024-05-06T07:08:09.000000000Z"})");
  EXPECT_EQ(Run({"data", "missing.json"}).err, "orv-action data: missing.json:1:1: $: missing field 'category'\n");
  Write("time.json", R"({"name": "x", "type": "motion", "category": "c", "start": "2024-05-06T07:08:09Z"})");
  EXPECT_EQ(Run({"data", "time.json"}).err,
            "orv-action data: time.json:1:59: $.start: expected a time like 2024-05-06T07:08:09.123456789+02:00 (nine "
            "fraction digits, then Z or an offset), found \"2024-05-06T07:08:09Z\"\n");
  Write("typo.json",
        R"({"name": "x", "type": "motion", "category": "c", "start": "2024-05-06T07:08:09.000000000Z",
            "objects": [{"kind": "Speed", "valeu": 1}]})");
  EXPECT_EQ(Run({"data", "typo.json"}).err,
            "orv-action data: typo.json:2:52: $.objects[0].valeu: unknown field 'valeu' of a Speed object\n");
  EXPECT_EQ(Run({"data", "absent.json"}).err, "orv-action data: absent.json: cannot open: No such file or directory\n");
}

TEST_F(Program, RenderWithoutArgumentsRendersTheBundledExample) {
  Outcome const outcome = Run({"render"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("Subject: ["), std::string::npos);
  EXPECT_NE(outcome.out.find("- Object 101: 6000 x 18000, 1.4 m/s, area 0.0123\n"), std::string::npos) << outcome.out;
  EXPECT_EQ(outcome.err, "");
}

TEST_F(Program, RenderUsesMarkersAndLoops) {
  Write("markers.mustache",
        "{{#the_event}}{{type.string}} {{#type.motion}}moving{{/type.motion}}\n"
        "{{#Zone}}{{#is.typename.orv.meta.data.Zone}}zone {{name}} ({{typename}}){{/is.typename.orv.meta.data.Zone}}\n"
        "{{/Zone}}{{#Object}}{{id}}:{{#meta}}{{/meta}}{{#Speed}} {{value}}{{/Speed}}"
        "{{^is.typename.orv.meta.data.Zone}} not a zone{{/is.typename.orv.meta.data.Zone}}\n{{/Object}}"
        "{{/the_event}}");
  Outcome const outcome = Run({"render", kExamples + "/golden/golden_event.json", "markers.mustache"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.out,
            "motion moving\n"
            "zone Entrance (orv.meta.data.Zone)\n"
            "zone Parking (orv.meta.data.Zone)\n"
            "101: 1.4 not a zone\n"
            "102: 8.25 not a zone\n"
            "103: 4.5 not a zone\n");
}

TEST_F(Program, RenderEscapesOnRequest) {
  Write("event.json", R"({"name": "<a & b>", "type": "motion", "category": "c",
                          "start": "2024-05-06T07:08:09.000000000Z"})");
  Write("name.mustache", "{{the_event.name}}");
  EXPECT_EQ(Run({"render", "event.json", "name.mustache"}).out, "<a & b>");
  EXPECT_EQ(Run({"render", "event.json", "name.mustache", "--escape", "html"}).out, "&lt;a &amp; b&gt;");
  EXPECT_EQ(Run({"render", "event.json", "name.mustache", "--escape", "url"}).out, "%3Ca%20%26%20b%3E");
  Outcome const bad = Run({"render", "event.json", "name.mustache", "--escape", "xml"});
  EXPECT_EQ(bad.exit, 2);
  EXPECT_EQ(bad.err.rfind("orv-action render: --escape: xml not in {none,html,url,json}\n\nusage:", 0), 0U);
}

TEST_F(Program, RenderNamesTheLineAndColumnOfATemplateError) {
  Write("broken.mustache", "Hello\n  {{#the_event}}{{name}}\n");
  Outcome const outcome = Run({"render", kExamples + "/golden/golden_event.json", "broken.mustache"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err,
            "orv-action render: broken.mustache:2:3: unclosed section \"the_event\": expected "
            "\"{{/the_event}}\"\n");
}

TEST_F(Program, RenderWarnsOfNamesTheDataDoesNotProvide) {
  Write("typo.mustache", "{{the_event.name}}\n{{the_event.nmae}}\n");
  Outcome const outcome = Run({"render", kExamples + "/golden/golden_event.json", "typo.mustache"});
  EXPECT_EQ(outcome.exit, 0);
  EXPECT_EQ(outcome.out, "Entrance watch\n\n");
  EXPECT_EQ(outcome.err, "typo.mustache:2:1: warning: the event's template data has no 'the_event.nmae'\n");
}

TEST_F(Program, TypesListsThePlugInTypesTheirPropertiesAndTheFailures) {
  Outcome const outcome = Run({"types"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("orv.action.File  0xd19e2905\n"
                             "  path (string, default \"-\"): The file each message is appended to; \"-\" writes to "
                             "standard output\n"),
            std::string::npos)
      << outcome.out;
  EXPECT_NE(outcome.out.find("  always_trigger (bool, default false): A boolean specifying whether this action "
                             "triggers irrespective of the armed state of the device\n"),
            std::string::npos);
  EXPECT_NE(outcome.out.find("orv.test.plugin.Echo  0xea46dbe5\n"), std::string::npos);
  EXPECT_NE(outcome.out.find("plug-ins that failed to load:\n  "), std::string::npos);
  EXPECT_NE(outcome.out.find("liborv_action_a_notes.so: invalid ELF header\n"), std::string::npos);
}

TEST_F(Program, TypesOfTheBuildTreeListNoTestPlugIn) {
  stage_.clear();
  Outcome const outcome = Run({"types"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("orv.action.File  0xd19e2905\n"), std::string::npos) << outcome.out;
  EXPECT_EQ(outcome.out.find("orv.test."), std::string::npos) << outcome.out;
  EXPECT_EQ(outcome.out.find("failed to load"), std::string::npos) << outcome.out;
  EXPECT_EQ(outcome.out.find("refused"), std::string::npos) << outcome.out;
}

TEST_F(Program, TypesNamesEveryRefusedRegistrationAndWhoHoldsItsId) {
  stage_ = ORV_TEST_SHADOW_STAGE_DIR;
  Outcome const outcome = Run({"types"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  std::string const at = stage_.string() + "/liborv_action_";
  std::string const refused =
      "registrations that were refused:\n"
      "  orv.test.collision.Type129469 from " +
      at + "c_colliding.so was refused: its id 0x35e3cf75 is held by orv.test.collision.Type51627 from " + at +
      "b_colliding.so, another type name with the same id registered first\n"
      "  orv.action.File from " +
      at + "file.so was refused: its id 0xd19e2905 is held by orv.action.File from " + at +
      "aaa_shadow.so, the same type name registered first\n";
  ASSERT_GE(outcome.out.size(), refused.size()) << outcome.out;
  EXPECT_EQ(outcome.out.substr(outcome.out.size() - refused.size()), refused) << outcome.out;
  // The shadow's type stays: it has none of the real type's own properties.
  EXPECT_NE(outcome.out.find("orv.action.File  0xd19e2905\n  name (string"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("orv.test.collision.Type51627  0x35e3cf75\n"), std::string::npos) << outcome.out;
  EXPECT_EQ(outcome.out.find("orv.test.collision.Type129469  "), std::string::npos) << outcome.out;
}

TEST_F(Program, TestFiresTheActionWithItsProperties) {
  Outcome const outcome = Run({"test", "orv.action.File", "--set", "path=out.log", "--set",
                               "template={{the_event.name}}/{{the_event.type.string}}\n", "--text", "hello"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "audit: action_id:0:rule_id:4294967295\noutcome: executed\n");
  EXPECT_EQ(Slurp(dir_ / "out.log"), "hello/test\n");
}

TEST_F(Program, TestWarnsAboutNamesATemplateUsesThatTheTestEventLacks) {
  Outcome const outcome = Run({"test", "orv.action.File", "--set", "path=out.log", "--set",
                               "template={{the_event.name}}\n{{the_event.nmae}} {{>kind}}\n", "--text", "hello"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "--set template:2:1: warning: the event's template data has no 'the_event.nmae'\n");
  EXPECT_EQ(outcome.out, "audit: action_id:0:rule_id:4294967295\noutcome: executed\n");
  EXPECT_EQ(Slurp(dir_ / "out.log"), "hello\n \n");
  // A value that is no template, or does not compile, gets no warning here.
  Outcome const plain = Run({"test", "orv.action.File", "--set", "path=out2.log", "--set", "template=plain {{#open\n"});
  EXPECT_EQ(plain.err.find("warning"), std::string::npos) << plain.err;
}

TEST_F(Program, TheFileActionEscapesAsItsEscapePropertySays) {
  std::string const tmpl = "template=<{{the_event.name}}>\n";
  for (auto const& [escape, expected] :
       std::vector<std::pair<std::string, std::string>>{{"none", "<a<b & \"c\">\n"},
                                                        {"html", "<a&lt;b &amp; &quot;c&quot;>\n"},
                                                        {"url", "<a%3Cb%20%26%20%22c%22>\n"},
                                                        {"json", "<a<b & \\\"c\\\">\n"}}) {
    fs::remove(dir_ / "out.log");
    Outcome const outcome = Run({"test", "orv.action.File", "--set", "path=out.log", "--set", "escape=" + escape,
                                 "--set", tmpl, "--text", "a<b & \"c\""});
    EXPECT_EQ(outcome.exit, 0) << outcome.err;
    EXPECT_EQ(Slurp(dir_ / "out.log"), expected) << escape;
  }
  Outcome const bad = Run({"test", "orv.action.File", "--set", "escape=xml"});
  EXPECT_EQ(bad.exit, 1);
  EXPECT_EQ(bad.err, "orv-action test: --set escape: escape 'xml' is not one of none, html, url, json\n");
}

TEST_F(Program, TheFileActionRendersItsPartials) {
  Outcome const outcome = Run({"test", "orv.action.File", "--set", "path=out.log", "--set",
                               "partials=kind=[{{the_event.type.string}}],who={{the_event.name}}", "--set",
                               "template={{>kind}} {{>who}}{{>absent}}\n", "--text", "visitor"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(Slurp(dir_ / "out.log"), "[test] visitor\n");
  Outcome const bad = Run({"test", "orv.action.File", "--set", "partials=kind"});
  EXPECT_EQ(bad.exit, 1);
  EXPECT_EQ(bad.err, "orv-action test: --set partials: partial 'kind' is not NAME=TEMPLATE\n");
  Outcome const twice = Run({"test", "orv.action.File", "--set", "partials=a=1,a=2"});
  EXPECT_EQ(twice.exit, 1);
  EXPECT_EQ(twice.err, "orv-action test: --set partials: partial 'a' is given twice\n");
}

TEST_F(Program, TestReportsAnActionFailureByCodeAndKey) {
  Outcome const outcome = Run({"test", "orv.test.plugin.Echo", "--text", "fail:5"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.out, "audit: action_id:0:rule_id:4294967295\n");
  EXPECT_EQ(outcome.err, "outcome: failed with code 5 (the_host_cannot_be_empty)\n");
}

TEST_F(Program, TestReportsAnyExceptionAnActionThrowsAsItsOutcome) {
  // The test plug-in reads the code after "fail:" with std::stoul.
  Outcome const echo = Run({"test", "orv.test.plugin.Echo", "--text", "fail:x"});
  EXPECT_EQ(echo.exit, 1);
  EXPECT_EQ(echo.out, "audit: action_id:0:rule_id:4294967295\n");
  EXPECT_EQ(echo.err, "outcome: failed: stoul\n");

  fs::create_directory(dir_ / "folder");
  Outcome const file = Run({"test", "orv.action.File", "--set", "path=folder"});
  EXPECT_EQ(file.exit, 1);
  EXPECT_EQ(file.out, "audit: action_id:0:rule_id:4294967295\n");
  EXPECT_EQ(file.err, "outcome: failed: cannot open 'folder' for appending: Is a directory\n");
}

TEST_F(Program, TestRefusesUnknownTypesPropertiesAndBadValues) {
  Outcome const type = Run({"test", "orv.action.Nope"});
  EXPECT_EQ(type.exit, 1);
  EXPECT_EQ(type.err,
            "orv-action test: unknown action type 'orv.action.Nope'; the registered types are orv.action.File, "
            "orv.action.Mail, orv.action.Mqtt, orv.action.Request, orv.test.plugin.Echo\n");
  Outcome const property = Run({"test", "orv.action.File", "--set", "pth=x"});
  EXPECT_EQ(property.exit, 1);
  EXPECT_EQ(property.err,
            "orv-action test: unknown property 'pth' of action type 'orv.action.File'; its properties are "
            "always_trigger, escape, name, observables, partials, path, template\n");
  Outcome const value = Run({"test", "orv.action.File", "--set", "always_trigger=yes"});
  EXPECT_EQ(value.err, "orv-action test: property 'always_trigger' takes true or false, not 'yes'\n");
  Outcome const usage = Run({"test"});
  EXPECT_EQ(usage.exit, 2);
  EXPECT_EQ(usage.err.rfind("orv-action test: TYPE is required\n\nusage: orv-action test", 0), 0U);
}

TEST_F(Program, TestReportsABrokenTemplateWhenItIsSet) {
  Outcome const outcome = Run({"test", "orv.action.File", "--set", "template={{#x}}"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err, "orv-action test: --set template:1:1: unclosed section \"x\": expected \"{{/x}}\"\n");
}

constexpr char kDevice[] = R"({
  "armed": %ARMED%,
  "actions": [
    { "type": "orv.action.File", "name": "always", "always_trigger": true, "rules": [17],
      "properties": { "path": "-", "template": "always: {{the_event.name}}\n" } },
    { "type": "orv.action.File", "name": "gated", "always_trigger": false, "rules": [17, 18],
      "properties": { "path": "-", "template": "gated: {{the_event.name}}\n" } }
  ]
})";

std::string Device(bool armed) {
  std::string text = kDevice;
  text.replace(text.find("%ARMED%"), 7, armed ? "true" : "false");
  return text;
}

std::string EventLine(std::string const& name, std::uint32_t rule) {
  return R"({"name": ")" + name +
         R"(", "type": "motion", "category": "c", "start": "2024-05-06T07:08:09.000000000Z",)" +
         R"( "objects": [{"kind": "Observable", "id": )" + std::to_string(rule) + "}]}\n";
}

TEST_F(Program, RunGatesActionsOnTheArmedState) {
  Write("device.json", Device(false));
  Write("events.jsonl", EventLine("one", 17) + "\n" + EventLine("two", 18) + EventLine("three", 19));
  Outcome const disarmed = Run({"run", "device.json", "events.jsonl"});
  EXPECT_EQ(disarmed.exit, 0) << disarmed.err;
  EXPECT_EQ(disarmed.out,
            "always: one\n"
            "audit: action_id:0:rule_id:17 name:always\n"
            "events read: 3\n"
            "events of rules without actions: 1\n"
            "actions fired: 1\n"
            "failures: none\n");
  EXPECT_EQ(disarmed.err, "");

  Write("device.json", Device(true));
  Outcome const armed = Run({"run", "device.json"}, EventLine("one", 17) + EventLine("two", 18));
  EXPECT_EQ(armed.exit, 0) << armed.err;
  EXPECT_EQ(armed.out,
            "always: one\n"
            "audit: action_id:0:rule_id:17 name:always\n"
            "gated: one\n"
            "audit: action_id:1:rule_id:17 name:gated\n"
            "gated: two\n"
            "audit: action_id:1:rule_id:18 name:gated\n"
            "events read: 2\n"
            "events of rules without actions: 0\n"
            "actions fired: 3\n"
            "failures: none\n");
}

TEST_F(Program, RunCountsFailuresByKeyAndGoesOn) {
  Write("device.json", R"({"armed": true, "actions": [
    {"type": "orv.test.plugin.Echo", "name": "echo", "rules": [17]},
    {"type": "orv.action.File", "name": "log", "rules": [17], "properties": {"template": "log: {{the_event.name}}\n"}}
  ]})");
  Outcome const outcome =
      Run({"run", "device.json"}, EventLine("fail:9", 17) + EventLine("fine", 17) + EventLine("fail:9", 17));
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.out,
            "audit: action_id:0:rule_id:17 name:echo failed:the_uri_cannot_be_empty\n"
            "log: fail:9\n"
            "audit: action_id:1:rule_id:17 name:log\n"
            "audit: action_id:0:rule_id:17 name:echo\n"
            "log: fine\n"
            "audit: action_id:1:rule_id:17 name:log\n"
            "audit: action_id:0:rule_id:17 name:echo failed:the_uri_cannot_be_empty\n"
            "log: fail:9\n"
            "audit: action_id:1:rule_id:17 name:log\n"
            "events read: 3\n"
            "events of rules without actions: 0\n"
            "actions fired: 6\n"
            "failures:\n"
            "  the_uri_cannot_be_empty: 2\n");
}

TEST_F(Program, RunRefusesBadConfigurationsBeforeAnythingRuns) {
  Write("type.json", R"({"armed": true, "actions": [{"type": "orv.action.Fax", "name": "m", "rules": []}]})");
  EXPECT_EQ(Run({"run", "type.json"}, EventLine("one", 17)).err,
            "orv-action run: type.json:1:38: $.actions[0].type: unknown action type 'orv.action.Fax'; the registered "
            "types are orv.action.File, orv.action.Mail, orv.action.Mqtt, orv.action.Request, "
            "orv.test.plugin.Echo\n");
  Write(
      "property.json",
      R"({"armed": true, "actions": [{"type": "orv.action.File", "name": "f", "rules": [], "properties": {"colour": "red"}}]})");
  Outcome const property = Run({"run", "property.json"}, EventLine("one", 17));
  EXPECT_EQ(property.exit, 1);
  EXPECT_EQ(property.out, "");
  EXPECT_EQ(
      property.err,
      "orv-action run: property.json:1:108: $.actions[0].properties.colour: unknown property 'colour' of action type "
      "'orv.action.File'; its properties are always_trigger, escape, name, observables, partials, path, template\n");
  Write(
      "value.json",
      R"({"armed": true, "actions": [{"type": "orv.action.File", "name": "f", "rules": [], "always_trigger": "yes"}]})");
  EXPECT_EQ(
      Run({"run", "value.json"}, "").err,
      "orv-action run: value.json:1:101: $.actions[0].always_trigger: property 'always_trigger' expects true or false, "
      "found \"yes\"\n");
  Write("device.json", Device(true));
  Outcome const events = Run({"run", "device.json", "--check"}, EventLine("one", 17) + "{\"name\": 1}\n");
  EXPECT_EQ(events.exit, 1);
  EXPECT_EQ(events.out, "");
  EXPECT_EQ(events.err, "orv-action run: <stdin>:2:10: $.name: expected a string, found 1\n");
}

TEST_F(Program, RunActsOnEachLineAndCountsABadOneAndGoesOn) {
  Write("device.json", Device(true));
  Outcome const outcome =
      Run({"run", "device.json"}, EventLine("one", 17) + "{\"name\": 1}\n\n" + "not json\n" + EventLine("two", 18));
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.out,
            "always: one\n"
            "audit: action_id:0:rule_id:17 name:always\n"
            "gated: one\n"
            "audit: action_id:1:rule_id:17 name:gated\n"
            "gated: two\n"
            "audit: action_id:1:rule_id:18 name:gated\n"
            "events read: 2\n"
            "bad lines: 2\n"
            "events of rules without actions: 0\n"
            "actions fired: 3\n"
            "failures: none\n");
  EXPECT_EQ(outcome.err,
            "orv-action run: <stdin>:2:10: $.name: expected a string, found 1\n"
            "orv-action run: <stdin>:4:2: syntax error while parsing value - invalid literal; last read: 'no'\n");
}

TEST_F(Program, TheBundledDeviceRunsAsTheReadmeShows) {
  // The README runs it in UTC; the notifications show local time.
  test::ScopedTimeZone const utc("UTC");
  std::string const readme = Slurp(fs::path(kExamples).parent_path() / "README.md");
  std::string const command =
      "TZ=UTC ./build/bin/orv-action run examples/device/config.json examples/device/events.jsonl\n```\n\n```\n";
  std::size_t const start = readme.find(command);
  ASSERT_NE(start, std::string::npos);
  std::size_t const end = readme.find("```", start + command.size());
  ASSERT_NE(end, std::string::npos);
  // Run as the README runs it, from the root of a tree holding the example
  // (a copy: the run opens its outbox beside the configuration).
  fs::create_directories(dir_ / "examples/device");
  Write("examples/device/config.json", Slurp(kExamples + "/device/config.json"));
  Write("examples/device/events.jsonl", Slurp(kExamples + "/device/events.jsonl"));
  Outcome const outcome = Run({"run", "examples/device/config.json", "examples/device/events.jsonl"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.out, readme.substr(start + command.size(), end - start - command.size()));
}

}  // namespace
}  // namespace orv::tool
