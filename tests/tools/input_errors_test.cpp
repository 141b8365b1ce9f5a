// Bad input given to the program: each is refused with "<file>:<line>:<column>:
// <JSON path>: <message>" and exit code 1, never a crash, a hang or a silently
// wrong value.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "program.hpp"

namespace orv::tool {
namespace {

using testing::Outcome;
using testing::Program;

constexpr char kDepthError[] = ": nesting deeper than 128 levels of arrays and objects, the limit of a JSON input\n";

// An event on one line whose "objects" list is `objects`.
std::string Event(std::string const& objects, std::string const& extra = "") {
  return R"({"name": "x", "type": "motion", "category": "c", "start": "2024-05-06T07:08:09.000000000Z")" + extra +
         R"(, "objects": [)" + objects + "]}";
}

// The column (from 1) of the first `needle` in the one-line `text`, after `from`.
std::string ColumnOf(std::string const& text, std::string const& needle, std::size_t from = 0) {
  std::size_t const at = text.find(needle, from);
  EXPECT_NE(at, std::string::npos) << needle;
  return std::to_string(at + 1);
}

// The column of the bracket that opens level 129 of one-line JSON text
// without brackets inside its strings.
std::string ColumnOfLevel129(std::string const& text) {
  int depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '[' || text[i] == '{') {
      if (++depth == 129) {
        return std::to_string(i + 1);
      }
    } else if (text[i] == ']' || text[i] == '}') {
      --depth;
    }
  }
  ADD_FAILURE() << "never 129 levels deep";
  return "";
}

// Tracked objects, each the only meta object of the one before: `levels` of them.
std::string NestedObjects(std::size_t levels) {
  std::string text;
  for (std::size_t i = 0; i < levels; ++i) {
    text +=
        R"({"kind": "Object", "id": )" + std::to_string(i) + R"(, "outline": [], "width": 1, "height": 1, "meta": [)";
  }
  for (std::size_t i = 0; i < levels; ++i) {
    text += "]}";
  }
  return text;
}

std::string Repeat(std::string const& text, std::size_t times) {
  std::string repeated;
  repeated.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) {
    repeated += text;
  }
  return repeated;
}

std::string const kDataError = "orv-action data: ";

TEST_F(Program, TrackedObjectsNestedFarTooDeepAreRefusedAtTheJsonDepthLimit) {
  std::string const event = Event(NestedObjects(1400));
  Write("deep.json", event);
  Outcome const outcome = Run({"data", "deep.json"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, kDataError + "deep.json:1:" + ColumnOfLevel129(event) + kDepthError);
}

TEST_F(Program, AnEventOneHundredThousandLevelsDeepIsRefused) {
  std::string const event = R"({"name": )" + Repeat("[", 100000) + Repeat("]", 100000) + "}";
  Write("deep.json", event);
  Outcome const outcome = Run({"data", "deep.json"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err, kDataError + "deep.json:1:" + ColumnOfLevel129(event) + kDepthError);
}

TEST_F(Program, DeeplyNestedValuesInAConfigurationAreRefused) {
  std::string const armed = R"({"armed": )" + Repeat("[", 60000) + Repeat("]", 60000) + R"(, "actions": []})";
  Write("armed.json", armed);
  Outcome const outcome = Run({"run", "armed.json", "-"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err, "orv-action run: armed.json:1:" + ColumnOfLevel129(armed) + kDepthError);

  std::string const property =
      R"({"armed": true, "actions": [{"type": "orv.action.File", "name": "f", "rules": [], "properties": {"path": )" +
      Repeat("[", 60000) + Repeat("]", 60000) + "}}]}";
  Write("property.json", property);
  EXPECT_EQ(Run({"run", "property.json", "-"}).err,
            "orv-action run: property.json:1:" + ColumnOfLevel129(property) + kDepthError);
}

TEST_F(Program, AnEventLineOneHundredThousandLevelsDeepIsRefused) {
  Write("device.json", R"({"armed": true, "actions": []})");
  std::string const line = R"({"name": "x", "objects": )" + Repeat("[", 100000) + Repeat("]", 100000) + "}";
  Outcome const outcome = Run({"run", "device.json"}, Event("") + "\n" + line + "\n");
  EXPECT_EQ(outcome.exit, 1);
  // The run goes on past a bad line.
  EXPECT_EQ(outcome.out,
            "events read: 1\nbad lines: 1\nevents of rules without actions: 1\nactions fired: 0\nfailures: none\n");
  EXPECT_EQ(outcome.err, "orv-action run: <stdin>:2:" + ColumnOfLevel129(line) + kDepthError);
}

TEST_F(Program, AQuotedBadValueIsShortenedWhateverItsNesting) {
  std::string const event = R"({"name": )" + Repeat("[", 100) + Repeat("]", 100) + "}";
  Write("name.json", event);
  EXPECT_EQ(Run({"data", "name.json"}).err,
            kDataError + "name.json:1:10: $.name: expected a string, found " + Repeat("[", 60) + "...\n");
  Write("kind.json", Event(R"({"kind": ")" + Repeat("é", 70) + R"("})"));
  std::string const kindEvent = Event(R"({"kind": ")" + Repeat("é", 70) + R"("})");
  EXPECT_EQ(Run({"data", "kind.json"}).err,
            kDataError + "kind.json:1:" + std::to_string(kindEvent.find("\"é") + 1) + ": $.objects[0].kind: unknown " +
                "object kind '" + Repeat("é", 60) +
                "...'; expected one of Area, Armed, CalibratedPosition, Channel, Classification, ColourSignature, "
                "Counter, CountingLine, DLClassification, Gone, GpuStats, GroundPoint, Height, History, Merged, "
                "Object, Observable, Pixels, SegmentedColourSignature, Speed, Split, Tamper, Text, Zone\n");
  std::string const object =
      Event(R"({"kind": "Speed", "value": {"a": [1, 2, 3], "b": ")" + Repeat("x", 80) + R"("}})");
  Write("object.json", object);
  EXPECT_EQ(Run({"data", "object.json"}).err,
            kDataError + "object.json:1:" + ColumnOf(object, "{\"a\"") +
                ": $.objects[0].value: expected a 32-bit float (0, or a magnitude from 1.4e-45 to 3.4028235e+38), "
                "found {\"a\":[1,2,3],\"b\":\"" +
                Repeat("x", 42) + "...\n");
}

TEST_F(Program, TrackedObjectsNestOnlyThirtyTwoLevels) {
  Write("32.json", Event(NestedObjects(32)));
  Outcome const fine = Run({"data", "32.json"});
  EXPECT_EQ(fine.exit, 0) << fine.err;
  EXPECT_NE(fine.out.find("\"id\": \"31\""), std::string::npos);

  std::string const event = Event(NestedObjects(33));
  Write("33.json", event);
  std::string path = "$.objects[0]";
  for (int i = 1; i < 33; ++i) {
    path += ".meta[0]";
  }
  std::string const column = ColumnOf(event, R"({"kind": "Object", "id": 32,)");
  Outcome const outcome = Run({"data", "33.json"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err, kDataError + "33.json:1:" + column + ": " + path +
                             ": tracked objects nested deeper than 32 levels, the limit\n");
}

TEST_F(Program, AnEventHoldsAtMostOneHundredThousandObjects) {
  std::string const tamper = R"({"kind": "Tamper"}, )";
  // Read by run, which checks the event without writing its template data.
  Write("device.json", R"({"armed": true, "actions": []})");
  Write("most.jsonl", Event(Repeat(tamper, 99999) + R"({"kind": "Tamper"})") + "\n");
  Outcome const most = Run({"run", "device.json", "most.jsonl"});
  EXPECT_EQ(most.exit, 0) << most.err;
  EXPECT_EQ(most.out, "events read: 1\nevents of rules without actions: 1\nactions fired: 0\nfailures: none\n");

  std::string const event = Event(Repeat(tamper, 100000) + R"({"kind": "Tamper"})");
  Write("more.json", event);
  Outcome const outcome = Run({"data", "more.json"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err, kDataError + "more.json:1:" + std::to_string(event.rfind("{\"kind\"") + 1) +
                             ": $.objects[100000]: more than 100000 meta-data objects in one event, the limit\n");

  std::string const nested = Event(R"({"kind": "Object", "id": 1, "outline": [], "width": 1, "height": 1, "meta": [)" +
                                   Repeat(tamper, 99999) + R"({"kind": "Tamper"}]})");
  Write("nested.json", nested);
  EXPECT_EQ(Run({"data", "nested.json"}).err,
            kDataError + "nested.json:1:" + std::to_string(nested.rfind("{\"kind\"") + 1) +
                ": $.objects[0].meta[99999]: more than 100000 meta-data objects in one event, the limit\n");
}

TEST_F(Program, FilesAndLinesHoldAtMostSixteenMebibytes) {
  std::string const padding(std::size_t{16} << 20, ' ');
  Write("big.json", Event("") + padding);
  Outcome const event = Run({"data", "big.json"});
  EXPECT_EQ(event.exit, 1);
  EXPECT_EQ(event.err, kDataError + "big.json: larger than 16 MiB (16777216 bytes), the limit of an event file\n");

  Write("fits.json", Event("") + padding.substr(Event("").size()));
  EXPECT_EQ(Run({"data", "fits.json"}).exit, 0);

  Write("big-device.json", R"({"armed": true, "actions": []})" + padding);
  EXPECT_EQ(Run({"run", "big-device.json", "-"}).err,
            "orv-action run: big-device.json: larger than 16 MiB (16777216 bytes), the limit of a device "
            "configuration\n");

  Write("device.json", R"({"armed": true, "actions": []})");
  Write("events.jsonl", Event("") + "\n" + Event("") + padding + "\n" + Event("") + "\n");
  std::string const tooLong =
      "orv-action run: events.jsonl:2:1: larger than 16 MiB (16777216 bytes), the limit of an event line\n";
  // Streaming: the line is skipped and counted, and the run goes on with the next.
  Outcome const line = Run({"run", "device.json", "events.jsonl"});
  EXPECT_EQ(line.exit, 1);
  EXPECT_EQ(line.out,
            "events read: 2\nbad lines: 1\nevents of rules without actions: 2\nactions fired: 0\nfailures: none\n");
  EXPECT_EQ(line.err, tooLong);
  // Checked first: nothing is published.
  Outcome const checked = Run({"run", "device.json", "events.jsonl", "--check"});
  EXPECT_EQ(checked.exit, 1);
  EXPECT_EQ(checked.out, "");
  EXPECT_EQ(checked.err, tooLong);
}

TEST_F(Program, ATemplateFileHoldsAtMostOneMebibyte) {
  Write("big.mustache", std::string((std::size_t{1} << 20) + 1, 'x'));
  Outcome const outcome = Run({"render", testing::kExamples + "/golden/golden_event.json", "big.mustache"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err,
            "orv-action render: big.mustache: larger than 1 MiB (1048576 bytes), the limit of a template\n");
}

// A template within its own size that renders past the rendering limit is
// the template file's error, named as such, not a bare library message.
TEST_F(Program, ARenderingPastItsLimitNamesTheTemplate) {
  // The golden event has two zones: 2 x 600,000 bytes exceed 1 MiB.
  Write("wide.mustache", "{{#the_event}}{{#Zone}}" + std::string(600'000, 'x') + "{{/Zone}}{{/the_event}}");
  Outcome const outcome = Run({"render", testing::kExamples + "/golden/golden_event.json", "wide.mustache"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err,
            "orv-action render: wide.mustache: the rendered text would be longer than 1048576 bytes, the limit of one "
            "rendering\n");
}

TEST_F(Program, TimesOutsideTheRepresentableRangeAreRefused) {
  std::string const range =
      "expected a time from 1677-09-21T00:12:43.145224192Z to 2262-04-11T23:47:16.854775807Z, found ";
  for (std::string const time :
       {"2500-01-01T00:00:00.000000000Z", "0000-01-01T00:00:00.000000000Z", "2262-04-11T23:47:16.854775808Z",
        "1677-09-21T00:12:43.145224191Z", "2262-04-11T23:47:16.854775807-00:01", "1677-09-21T00:12:43.145224192+00:01",
        "9999-12-31T23:59:59.999999999Z"}) {
    std::string const event = R"({"name": "x", "type": "motion", "category": "c", "start": ")" + time + R"("})";
    Write("time.json", event);
    Outcome const outcome = Run({"data", "time.json"});
    EXPECT_EQ(outcome.exit, 1) << time;
    EXPECT_EQ(outcome.err, kDataError + "time.json:1:" + ColumnOf(event, "\"" + time) + ": $.start: " + range + "\"" +
                               time + "\"\n");
  }
  for (std::string const time :
       {"2262-04-11T23:47:16.854775807Z", "1677-09-21T00:12:43.145224192Z", "2262-04-12T01:47:16.854775807+02:00"}) {
    Write("time.json", R"({"name": "x", "type": "motion", "category": "c", "start": ")" + time + R"("})");
    Outcome const outcome = Run({"data", "time.json"});
    EXPECT_EQ(outcome.exit, 0) << time << outcome.err;
  }
  std::string const history = Event(
      R"({"kind": "History", "object_id": 1, "map": [{"key": "2999-01-01T00:00:00.000000000Z", "value": {"x": 1, "y": 2}}]})");
  Write("history.json", history);
  EXPECT_EQ(Run({"data", "history.json"}).err, kDataError + "history.json:1:" + ColumnOf(history, "\"2999") +
                                                   ": $.objects[0].map[0].key: " + range +
                                                   "\"2999-01-01T00:00:00.000000000Z\"\n");
}

TEST_F(Program, AnEndBeforeTheStartIsRefused) {
  std::string const event = Event("", R"(, "end": "2024-05-06T07:08:08.999999999Z")");
  Write("end.json", event);
  Outcome const outcome = Run({"data", "end.json"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err, kDataError + "end.json:1:" + ColumnOf(event, "\"2024-05-06T07:08:08") +
                             ": $.end: the end 2024-05-06T07:08:08.999999999Z is before the start "
                             "2024-05-06T07:08:09.000000000Z\n");
  Write("same.json", Event("", R"(, "end": "2024-05-06T09:08:09.000000000+02:00")"));
  EXPECT_EQ(Run({"data", "same.json"}).exit, 0);
}

struct NumberCase {
  std::string object;  // with the bad number as "@"
  std::string number;
  std::string path;
  std::string expected;
};

TEST_F(Program, NumbersThatDoNotFitTheirFieldAreRefused) {
  std::string const int32 = "a signed 32-bit number (-2147483648 to 2147483647)";
  std::string const uint32 = "an unsigned 32-bit number (0 to 4294967295)";
  std::string const uint64 = "an unsigned 64-bit number (0 to 18446744073709551615)";
  std::string const float32 = "a 32-bit float (0, or a magnitude from 1.4e-45 to 3.4028235e+38)";
  std::string const counter =
      R"({"kind": "Counter", "id": 1, "name": "n", "value": @, "difference": 0, "position": {"x": 1, "y": 2}})";
  std::vector<NumberCase> const cases = {
      {counter, "18446744073709551615", "$.objects[0].value", int32},
      {counter, "18446744071562067968", "$.objects[0].value", int32},
      {counter, "2147483648", "$.objects[0].value", int32},
      {counter, "-2147483649", "$.objects[0].value", int32},
      {counter, "1.5", "$.objects[0].value", int32},
      {counter, "1.0", "$.objects[0].value", int32},
      {counter, "1e2", "$.objects[0].value", int32},
      {counter, "\"1\"", "$.objects[0].value", int32},
      {R"({"kind": "Gone", "id": @})", "-1", "$.objects[0].id", uint32},
      {R"({"kind": "Gone", "id": @})", "4294967296", "$.objects[0].id", uint32},
      {R"({"kind": "Gone", "id": @})", "18446744073709551616", "$.objects[0].id", uint32},
      {R"({"kind": "Gone", "id": @})", "0.5", "$.objects[0].id", uint32},
      {R"({"kind": "Gone", "id": @})", "true", "$.objects[0].id", uint32},
      {R"({"kind": "GpuStats", "utilisation": 1, "memory_used": @})", "18446744073709551616",
       "$.objects[0].memory_used", uint64},
      {R"({"kind": "GpuStats", "utilisation": 1, "memory_used": @})", "-0.0", "$.objects[0].memory_used", uint64},
      {R"({"kind": "Pixels", "value": @})", "4294967296", "$.objects[0].value", uint32},
      {R"({"kind": "GroundPoint", "value": {"x": @, "y": 1}})", "65536", "$.objects[0].value.x",
       "a normalised value (0 to 65535)"},
      {R"({"kind": "Speed", "value": @})", "1e39", "$.objects[0].value", float32},
      {R"({"kind": "Speed", "value": @})", "-3.5e38", "$.objects[0].value", float32},
      {R"({"kind": "Speed", "value": @})", "1e-50", "$.objects[0].value", float32},
      {R"({"kind": "Speed", "value": @})", "-1e-46", "$.objects[0].value", float32},
      {R"({"kind": "Speed", "value": @})", "\"NaN\"", "$.objects[0].value", float32},
      {R"({"kind": "Speed", "value": @})", "null", "$.objects[0].value", float32},
  };
  for (NumberCase const& bad : cases) {
    std::string object = bad.object;
    object.replace(object.find('@'), 1, bad.number);
    std::string const event = Event(object);
    Write("number.json", event);
    Outcome const outcome = Run({"data", "number.json"});
    // A number is quoted as nlohmann-json writes it: the shortest text that reads back the same.
    std::map<std::string, std::string> const written = {{"18446744073709551616", "1.8446744073709552e+19"},
                                                        {"1e2", "100.0"},
                                                        {"1e39", "1e+39"},
                                                        {"-3.5e38", "-3.5e+38"}};
    std::string const found = written.contains(bad.number) ? written.at(bad.number) : bad.number;
    EXPECT_EQ(outcome.exit, 1) << bad.number;
    EXPECT_EQ(outcome.err, kDataError + "number.json:1:" + ColumnOf(event, bad.number, event.find("objects")) + ": " +
                               bad.path + ": expected " + bad.expected + ", found " + found + "\n");
  }
}

// Template data writes floats with six significant digits.
TEST_F(Program, NumbersThatFitTheirFieldAreTaken) {
  Write("fits.json",
        Event(R"({"kind": "Counter", "id": -0, "name": "n", "value": -2147483648, "difference": 2147483647,)"
              R"( "position": {"x": 0, "y": 65535}}, {"kind": "Speed", "value": 3.4028235e38},)"
              R"( {"kind": "Height", "value": -0.0}, {"kind": "Area", "value": 1e-45},)"
              R"( {"kind": "GpuStats", "utilisation": 4294967295, "memory_used": 18446744073709551615})"));
  Outcome const outcome = Run({"data", "fits.json"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  for (std::string const text : {R"("value": "-2147483648")", R"("difference": "2147483647")", R"("id": "0")",
                                 R"("value": "3.40282e+38")", R"("value": "-0")", R"("value": "1.4013e-45")",
                                 R"("memory_used": "18446744073709551615")", R"("utilisation": "4294967295")"}) {
    EXPECT_NE(outcome.out.find(text), std::string::npos) << text << "\n" << outcome.out;
  }
}

TEST_F(Program, NonJsonNumbersAreSyntaxErrors) {
  Write("nan.json", Event(R"({"kind": "Speed", "value": NaN})"));
  EXPECT_EQ(Run({"data", "nan.json"}).err,
            kDataError + "nan.json:1:" + ColumnOf(Event(R"({"kind": "Speed", "value": NaN})"), "NaN") +
                ": syntax error while parsing value - invalid literal; last read: '\"value\": N'\n");
  std::string const infinite = Event(R"({"kind": "Speed", "value": 1e999})");
  Write("inf.json", infinite);
  Outcome const outcome = Run({"data", "inf.json"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err.rfind(kDataError + "inf.json:1:", 0), 0U) << outcome.err;
  EXPECT_NE(outcome.err.find("number overflow parsing '1e999'"), std::string::npos) << outcome.err;
}

TEST_F(Program, DuplicateKeysAreRefused) {
  Write("dup.json", R"({"name": "a", "name": "b", "type": "motion", "category": "c"})");
  Outcome const outcome = Run({"data", "dup.json"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err, kDataError + "dup.json:1:15: $.name: duplicate key 'name'\n");

  Write("nested.json", "{\"name\": \"a\",\n \"objects\": [{\"kind\": \"Gone\",\n   \"id\": 1, \"id\": 2}]}");
  EXPECT_EQ(Run({"data", "nested.json"}).err, kDataError + "nested.json:3:13: $.objects[0].id: duplicate key 'id'\n");

  Write("device.json", R"({"armed": true, "actions": [], "armed": false})");
  EXPECT_EQ(Run({"run", "device.json", "-"}).err, "orv-action run: device.json:1:32: $.armed: duplicate key 'armed'\n");
}

TEST_F(Program, ANulByteIsRefusedWhereverItIs) {
  std::string const event = Event("");
  Write("after.json", event + std::string(1, '\0') + "garbage");
  Outcome const outcome = Run({"data", "after.json"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err, kDataError + "after.json:1:" + std::to_string(event.size() + 1) +
                             ": a NUL byte, which JSON text cannot hold\n");
  Write("inside.json", "{\"name\": \"a" + std::string(1, '\0') + "b\"}");
  EXPECT_EQ(Run({"data", "inside.json"}).err,
            kDataError + "inside.json:1:12: a NUL byte, which JSON text cannot hold\n");
  Write("device.json", R"({"armed": true, "actions": []})");
  EXPECT_EQ(Run({"run", "device.json"}, event + "\n" + std::string(1, '\0') + "\n").err,
            "orv-action run: <stdin>:2:1: a NUL byte, which JSON text cannot hold\n");
}

TEST_F(Program, ADirectoryIsNotAnInputFile) {
  std::filesystem::create_directory(dir_ / "folder");
  Outcome const outcome = Run({"data", "folder"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.err, kDataError + "folder: is a directory\n");
  EXPECT_EQ(Run({"render", "folder"}).err, "orv-action render: folder: is a directory\n");
  EXPECT_EQ(Run({"render", testing::kExamples + "/golden/golden_event.json", "folder"}).err,
            "orv-action render: folder: is a directory\n");
  EXPECT_EQ(Run({"run", "folder", "-"}).err, "orv-action run: folder: is a directory\n");
  Write("device.json", R"({"armed": true, "actions": []})");
  EXPECT_EQ(Run({"run", "device.json", "folder"}).err, "orv-action run: folder: is a directory\n");
}

// A configuration whose second action has `properties`, one property a line.
std::string Device(std::string const& properties) {
  return "{\"armed\": true, \"actions\": [\n"
         "  {\"type\": \"orv.action.File\", \"name\": \"fine\", \"rules\": [17]},\n"
         "  {\"type\": \"orv.action.File\", \"name\": \"log\", \"rules\": [17],\n"
         "   \"properties\": {\n" +
         properties + "}}]}\n";
}

TEST_F(Program, ATemplateErrorInAConfigurationNamesThePlaceOfTheTag) {
  Write("device.json", Device("    \"template\": \"Hello {{#x}}\"\n"));
  Outcome const outcome = Run({"run", "device.json", "-"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err,
            "orv-action run: device.json:5:24: $.actions[1].properties.template: unclosed section \"x\": expected "
            "\"{{/x}}\"\n");

  // Escapes stand for one character each; \n starts a line of the template.
  Write("escaped.json", Device("    \"template\": \"\\u00e9\\t\\\"\\n\\ud83d\\ude00 {{/y}}\"\n"));
  EXPECT_EQ(Run({"run", "escaped.json", "-"}).err,
            "orv-action run: escaped.json:5:43: $.actions[1].properties.template: unexpected \"{{/y}}\": no section "
            "is open\n");
}

TEST_F(Program, ATemplateErrorInTestNamesTheOption) {
  Outcome const outcome = Run({"test", "orv.action.File", "--set", "template=one\n two {{#x}}"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "orv-action test: --set template:2:6: unclosed section \"x\": expected \"{{/x}}\"\n");
}

TEST_F(Program, DuplicateRuleIdsAreRefused) {
  Write("device.json",
        "{\"armed\": true, \"actions\": [\n"
        "  {\"type\": \"orv.action.File\", \"name\": \"log\", \"rules\": [17, 18],\n"
        "   \"properties\": {\"template\": \"log\\n\"}},\n"
        "  {\"type\": \"orv.test.plugin.Echo\", \"name\": \"echo\",\n"
        "   \"rules\": [18, 17, 18]}]}\n");
  Outcome const outcome = Run({"run", "device.json", "-"});
  EXPECT_EQ(outcome.exit, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "orv-action run: device.json:5:22: $.actions[1].rules[2]: duplicate rule id 18\n");
}

TEST_F(Program, ConfigurationValuesNameTheirPlace) {
  Write("device.json", Device("    \"path\": true\n"));
  EXPECT_EQ(Run({"run", "device.json", "-"}).err,
            "orv-action run: device.json:5:13: $.actions[1].properties.path: property 'path' expects a string, found "
            "true\n");
  Write("armed.json", R"({"armed": "yes", "actions": []})");
  EXPECT_EQ(Run({"run", "armed.json", "-"}).err,
            "orv-action run: armed.json:1:11: $.armed: expected true or false, found \"yes\"\n");
  Write("odd.json", R"({"armed": true, "actions": [{"type": "orv.action.File", "name": "f", "rules": [],)"
                    R"( "properties": {"odd key": 1}}]})");
  EXPECT_EQ(
      Run({"run", "odd.json", "-"}).err,
      "orv-action run: odd.json:1:109: $.actions[0].properties[\"odd key\"]: unknown property 'odd key' of action "
      "type 'orv.action.File'; its properties are always_trigger, escape, name, observables, partials, path, "
      "template\n");
}

}  // namespace
}  // namespace orv::tool
