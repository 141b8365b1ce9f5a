#include "studio_api.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "event_file.hpp"
#include "orv/action/loader.hpp"
#include "orv/action/serialize.hpp"
#include "orv/action/template_data_json.hpp"

namespace orv::tool::studio {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

std::string Slurp(fs::path const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string const kGoldenPath = ORV_EXAMPLES_DIR "/golden/golden_event.json";

json Error(std::string const& kind, std::string const& message) {
  return {{"error", {{"kind", kind}, {"message", message}}}};
}

class StudioApi : public testing::Test {
 protected:
  static void SetUpTestSuite() { loader_ = new action::plugin::Loader(true); }
  static void TearDownTestSuite() {
    delete loader_;
    loader_ = nullptr;
  }

  StudioApi() : golden_(ReadEventFile(kGoldenPath)), api_({{"golden", "Golden", "golden_event.json", golden_}}, "T") {}

  // Renders `request`, an object without its "event", for the golden event.
  Response Render(json request) const {
    request["event"] = {{"id", "golden"}};
    return api_.Render(request.dump());
  }

  std::shared_ptr<meta::data::Event const> golden_;
  Api api_;

 private:
  static action::plugin::Loader* loader_;
};

action::plugin::Loader* StudioApi::loader_ = nullptr;

TEST_F(StudioApi, ExamplesListsTheEventsTheTemplateAndTheEscapings) {
  Response const response = api_.Examples();
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.body, json({{"events", {{{"id", "golden"}, {"label", "Golden"}, {"source", "golden_event.json"}}}},
                                 {"template", "T"},
                                 {"escapes", {"none", "html", "url", "json"}}}));
}

TEST_F(StudioApi, DataIsWhatTheDataCommandPrints) {
  Response const byId = api_.Data(R"({"event": {"id": "golden"}})");
  EXPECT_EQ(byId.status, 200);
  EXPECT_EQ(byId.body, json({{"data", json::parse(action::TemplateDataToJson(action::SerializeEvent(golden_)))}}));
  Response const pasted = api_.Data(json({{"event", {{"json", Slurp(kGoldenPath)}}}}).dump());
  EXPECT_EQ(pasted.status, 200);
  EXPECT_EQ(pasted.body, json({{"data", json::parse(action::TemplateDataToJson(action::SerializeEvent(golden_)))}}));
}

TEST_F(StudioApi, DataRefusesBadRequests) {
  struct Case {
    std::string body;
    std::string message;
  };
  Case const cases[] = {
      {"",
       "request body:1:1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal"},
      {"{\"event\": ",
       "request body:1:11: syntax error while parsing value - unexpected end of input; expected '[', '{', or a "
       "literal"},
      {"[]", "request body:1:1: $: expected an object, found []"},
      {"{}", "request body:1:1: $: missing field 'event'"},
      {R"({"event": {"id": "golden"}, "extra": 1})",
       "request body:1:38: $.extra: unknown field 'extra'; expected one of event"},
      {R"({"event": {}})", "request body:1:11: $.event: expected either 'id' or 'json'"},
      {R"({"event": {"id": "golden", "json": "{}"}})", "request body:1:11: $.event: expected either 'id' or 'json'"},
      {R"({"event": {"id": "nope"}})", "request body:1:18: $.event.id: no event 'nope'; the events are golden"},
      {R"({"event": {"id": 7}})", "request body:1:18: $.event.id: expected a string, found 7"},
  };
  for (Case const& bad : cases) {
    Response const response = api_.Data(bad.body);
    EXPECT_EQ(response.status, 400) << bad.body;
    EXPECT_EQ(response.body, Error("request", bad.message)) << bad.body;
  }
}

TEST_F(StudioApi, APastedEventGetsTheErrorsOfAnEventFile) {
  struct Case {
    std::string text;
    std::string message;
  };
  Case const cases[] = {
      {R"({"version": 1,)",
       "<pasted event>:1:15: syntax error while parsing object key - unexpected end of input; "
       "expected string literal"},
      {"{}", "<pasted event>:1:1: $: missing field 'name'"},
      {"{\n  \"name\": 5\n}", "<pasted event>:2:11: $.name: expected a string, found 5"},
  };
  for (Case const& bad : cases) {
    Response const response = api_.Data(json({{"event", {{"json", bad.text}}}}).dump());
    EXPECT_EQ(response.status, 422) << bad.text;
    EXPECT_EQ(response.body, Error("event", bad.message)) << bad.text;
  }
}

TEST_F(StudioApi, APastedEventPastTheLimitOfAnEventFileIsRefused) {
  std::string const huge(std::size_t{16} << 20 | 1U, ' ');
  Response const response = api_.Data(json({{"event", {{"json", huge}}}}).dump());
  EXPECT_EQ(response.status, 422);
  EXPECT_EQ(response.body,
            Error("event", "<pasted event>: larger than 16 MiB (16777216 bytes), the limit of an event file"));
}

TEST_F(StudioApi, RenderRendersWithTheEventsData) {
  Response const response = Render({{"template", "{{#the_event}}{{name}} ({{id}}){{/the_event}}"}});
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.body, json({{"text", "Entrance watch (4711)"}, {"missing", json::array()}}));
}

TEST_F(StudioApi, RenderEscapesAsAsked) {
  std::string event = Slurp(kGoldenPath);
  event.replace(event.find("Entrance watch"), 14, "A&B <\\\"x\\\">");
  struct Case {
    std::string escape;
    std::string text;
  };
  Case const cases[] = {{"none", "A&B <\"x\">"},
                        {"html", "A&amp;B &lt;&quot;x&quot;&gt;"},
                        {"url", "A%26B%20%3C%22x%22%3E"},
                        {"json", "A&B <\\\"x\\\">"}};
  for (Case const& escaping : cases) {
    json const request = {
        {"event", {{"json", event}}}, {"template", "{{the_event.name}}"}, {"escape", escaping.escape}};
    Response const response = api_.Render(request.dump());
    EXPECT_EQ(response.status, 200) << escaping.escape;
    EXPECT_EQ(response.body, json({{"text", escaping.text}, {"missing", json::array()}})) << escaping.escape;
  }
  Response const unknown = Render({{"template", "x"}, {"escape", "xml"}});
  EXPECT_EQ(unknown.status, 400);
  EXPECT_EQ(
      unknown.body,
      Error("request", "request body:1:11: $.escape: expected \"none\", \"html\", \"url\" or \"json\", found \"xml\""));
}

TEST_F(StudioApi, RenderUsesThePartials) {
  Response const response =
      Render({{"template", "[{{>greeting}}]"}, {"partials", {{"greeting", "Hi {{the_event.name}}"}}}});
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.body, json({{"text", "[Hi Entrance watch]"}, {"missing", json::array()}}));
}

TEST_F(StudioApi, RenderListsTheMissingNamesAndPartials) {
  Response const response = Render(
      {{"template", "{{the_event.name}}\n {{nope}}{{>absent}}{{>p}}"}, {"partials", {{"p", "{{#gone}}x{{/gone}}"}}}});
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.body,
            json({{"text", "Entrance watch\n "},
                  {"missing",
                   {{{"name", "nope"},
                     {"partial", ""},
                     {"line", 2},
                     {"column", 2},
                     {"isPartial", false},
                     {"warning", "<template>:2:2: warning: the event's template data has no 'nope'"}},
                    {{"name", "absent"},
                     {"partial", ""},
                     {"line", 2},
                     {"column", 10},
                     {"isPartial", true},
                     {"warning", "<template>:2:10: warning: no partial 'absent' is given; the tag renders as nothing"}},
                    {{"name", "gone"},
                     {"partial", "p"},
                     {"line", 1},
                     {"column", 1},
                     {"isPartial", false},
                     {"warning", "partial p:1:1: warning: the event's template data has no 'gone'"}}}}}));
}

TEST_F(StudioApi, RenderPlacesASyntaxError) {
  Response const response = Render({{"template", "Rule {{the_event.name}}\n{{#open}}x"}});
  EXPECT_EQ(response.status, 422);
  EXPECT_EQ(response.body,
            json({{"error",
                   {{"kind", "template"},
                    {"message", "unclosed section \"open\": expected \"{{/open}}\""},
                    {"partial", ""},
                    {"line", 2},
                    {"column", 1},
                    {"description", "<template>:2:1: unclosed section \"open\": expected \"{{/open}}\""}}}}));
}

TEST_F(StudioApi, RenderPlacesASyntaxErrorInAPartial) {
  Response const response = Render({{"template", "{{>p}}"}, {"partials", {{"p", "ab\ncd{{x"}}}});
  EXPECT_EQ(response.status, 422);
  EXPECT_EQ(response.body, json({{"error",
                                  {{"kind", "template"},
                                   {"message", "unclosed tag: expected \"}}\""},
                                   {"partial", "p"},
                                   {"line", 2},
                                   {"column", 3},
                                   {"description", "partial p:2:3: unclosed tag: expected \"}}\""}}}}));
}

TEST_F(StudioApi, RenderRefusesBadPartials) {
  json many = json::object();
  for (int i = 0; i <= 100; ++i) {
    many["p" + std::to_string(i)] = "";
  }
  Response const tooMany = Render({{"template", "x"}, {"partials", many}});
  EXPECT_EQ(tooMany.status, 400);
  EXPECT_EQ(tooMany.body,
            Error("request", "request body:1:37: $.partials: holds 101 partials; at most 100 are allowed"));
  Response const unnamed = Render({{"template", "x"}, {"partials", {{"", "y"}}}});
  EXPECT_EQ(unnamed.status, 400);
  EXPECT_EQ(unnamed.body, Error("request", "request body:1:41: $.partials[\"\"]: a partial's name must not be empty"));
  Response const notText = Render({{"template", "x"}, {"partials", {{"p", 1}}}});
  EXPECT_EQ(notText.status, 400);
  EXPECT_EQ(notText.body, Error("request", "request body:1:42: $.partials.p: expected a string, found 1"));
}

TEST_F(StudioApi, RenderNeedsATemplate) {
  Response const response = Render(json::object());
  EXPECT_EQ(response.status, 400);
  EXPECT_EQ(response.body, Error("request", "request body:1:1: $: missing field 'template'"));
}

TEST_F(StudioApi, TypesListsTheLoadedTypesWithTheirProperties) {
  Response const response = api_.Types();
  EXPECT_EQ(response.status, 200);
  json const* file = nullptr;
  for (json const& type : response.body["types"]) {
    if (type["name"] == "orv.action.File") {
      file = &type;
    }
  }
  ASSERT_NE(file, nullptr) << response.body.dump();
  json const& path = (*file)["properties"][0];
  EXPECT_EQ(path, json({{"name", "path"},
                        {"type", "string"},
                        {"default", "-"},
                        {"secret", false},
                        {"description", "The file each message is appended to; \"-\" writes to standard output"}}));
}

class StudioApiTest : public StudioApi {
 protected:
  StudioApiTest() : directory_(fs::temp_directory_path() / ("orv-studio-api-" + std::to_string(::getpid()))) {
    fs::create_directories(directory_);
  }
  ~StudioApiTest() override { fs::remove_all(directory_); }

  fs::path directory_;
};

TEST_F(StudioApiTest, TestFiresTheActionWithTheTemplate) {
  fs::path const sent = directory_ / "sent.txt";
  json const request = {{"type", "orv.action.File"},
                        {"properties", {{"path", sent.string()}}},
                        {"templateProperty", "template"},
                        {"template", "Sent {{the_event.name}}"},
                        {"text", "check"}};
  Response const response = api_.Test(request.dump());
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.body["outcome"], "executed") << response.body.dump();
  EXPECT_EQ(response.body["result"], true);
  EXPECT_EQ(response.body["detail"], "");
  EXPECT_EQ(Slurp(sent), "Sent check");
}

TEST_F(StudioApiTest, TestReportsTheFailure) {
  fs::path const unwritable = directory_ / "no-such-directory" / "sent.txt";
  json const request = {{"type", "orv.action.File"}, {"properties", {{"path", unwritable.string()}}}};
  Response const response = api_.Test(request.dump());
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.body["outcome"], "failed");
  EXPECT_EQ(response.body["failure"],
            "cannot open '" + unwritable.string() + "' for appending: No such file or directory");
}

TEST_F(StudioApiTest, TestRefusesWhatCannotBeFired) {
  struct Case {
    json request;
    int status;
    json body;
  };
  Case const cases[] = {
      {{{"type", "no.such.Type"}},
       422,
       Error("action",
             "request body:1:9: $.type: unknown action type 'no.such.Type'; the registered types are "
             "orv.action.File, orv.action.Mail, orv.action.Mqtt, orv.action.Request")},
      {{{"type", "orv.action.File"}, {"properties", {{"nope", 1}}}},
       422,
       Error("action",
             "request body:1:23: $.properties.nope: unknown property 'nope' of action type "
             "'orv.action.File'; its properties are always_trigger, escape, name, observables, partials, path, "
             "template")},
      {{{"type", "orv.action.File"}, {"properties", {{"path", 1}}}},
       422,
       Error("action", "request body:1:23: $.properties.path: property 'path' expects a string, found 1")},
      {{{"type", "orv.action.File"}, {"template", "x"}},
       400,
       Error("request", "request body:1:1: $: 'templateProperty' and 'template' come together")},
      {{{"type", "orv.action.File"}, {"templateProperty", "always_trigger"}, {"template", "x"}},
       422,
       Error("action", "request body:1:36: $.templateProperty: property 'always_trigger' holds bool, not a template")},
      {{{"type", "orv.action.File"}, {"templateProperty", "template"}, {"template", "{{#a}}"}},
       422,
       {{"error",
         {{"kind", "template"},
          {"message", "unclosed section \"a\": expected \"{{/a}}\""},
          {"partial", ""},
          {"line", 1},
          {"column", 1},
          {"description", "<template>:1:1: unclosed section \"a\": expected \"{{/a}}\""}}}}},
  };
  for (Case const& bad : cases) {
    Response const response = api_.Test(bad.request.dump());
    EXPECT_EQ(response.status, bad.status) << bad.request.dump();
    EXPECT_EQ(response.body, bad.body) << bad.request.dump();
  }
}

}  // namespace
}  // namespace orv::tool::studio
