#include "studio_api.hpp"

#include <exception>
#include <optional>
#include <stdexcept>
#include <utility>

#include "../action_setup.hpp"
#include "../action_test.hpp"
#include "../errors.hpp"
#include "../event_file.hpp"
#include "../input_file.hpp"
#include "../json_field.hpp"
#include "../json_input.hpp"
#include "../limits.hpp"
#include "../message_text.hpp"
#include "../property_values.hpp"
#include "../template_error.hpp"
#include "../template_rendering.hpp"
#include "orv/action/serialize.hpp"
#include "orv/action/template_data_json.hpp"
#include "orv/templating/syntax_error.hpp"
#include "orv/templating/template.hpp"

namespace orv::tool::studio {
namespace {

constexpr int kOk = 200;
constexpr int kBadRequest = 400;
constexpr int kUnprocessable = 422;
constexpr int kInternalError = 500;

// The names that messages give the texts of a request.
constexpr char kRequestName[] = "request body";
constexpr char kPastedEventName[] = "<pasted event>";
constexpr char kTemplateName[] = "<template>";

// An input that the request names correctly but that cannot be used: an
// event, an action type or a property value. Answered with 422.
class UnusableInput : public std::runtime_error {
 public:
  UnusableInput(std::string kind, std::string const& message) : std::runtime_error(message), kind_(std::move(kind)) {}
  std::string const& Kind() const noexcept { return kind_; }

 private:
  std::string kind_;
};

// Runs `answer`, turning what it throws into an error response: a request
// that is no JSON or lacks a field is the caller's mistake (400); anything
// else unforeseen is the server's (500), never a crash.
template <class Answer>
Response Guarded(Answer const& answer) {
  try {
    return answer();
  } catch (UnusableInput const& error) {
    return ErrorResponse(kUnprocessable, error.Kind(), error.what());
  } catch (InputError const& error) {
    return ErrorResponse(kBadRequest, "request", error.what());
  } catch (std::exception const& error) {
    return ErrorResponse(kInternalError, "internal", error.what());
  }
}

// The parsed body of one request with the root field of its JSON.
class RequestBody {
 public:
  explicit RequestBody(std::string const& body)
      : source_(kRequestName, body), document_(ParseJson(source_)), root_(document_, source_) {}
  RequestBody(RequestBody const&) = delete;
  RequestBody& operator=(RequestBody const&) = delete;

  JsonField const& Root() const noexcept { return root_; }

 private:
  SourceText source_;
  nlohmann::json document_;
  JsonField root_;
};

nlohmann::json MissingNamesJson(std::vector<templating::MissingName> const& missingNames, SourceText const& source) {
  nlohmann::json list = nlohmann::json::array();
  for (auto const& missing : missingNames) {
    list.push_back({{"name", missing.name},
                    {"partial", missing.partial},
                    {"line", missing.line},
                    {"column", missing.column},
                    {"isPartial", missing.isPartial},
                    {"warning", DescribeMissingName(missing, source)}});
  }
  return list;
}

Response SyntaxErrorResponse(templating::SyntaxError const& error, SourceText const& source) {
  std::string const description = error.GetPartial().empty()
                                      ? Describe(error, source)
                                      : "partial " + error.GetPartial() + ":" + std::to_string(error.GetLine()) + ":" +
                                            std::to_string(error.GetColumn()) + ": " + MessageOf(error);
  Response response = ErrorResponse(kUnprocessable, "template", MessageOf(error));
  nlohmann::json& details = response.body["error"];
  details["partial"] = error.GetPartial();
  details["line"] = error.GetLine();
  details["column"] = error.GetColumn();
  details["description"] = description;
  return response;
}

templating::Escape EscapeOf(JsonField const& field) {
  std::optional<templating::Escape> const escape = templating::EscapeFromName(field.String());
  if (!escape) {
    field.Expected("\"none\", \"html\", \"url\" or \"json\"");
  }
  return *escape;
}

templating::Partials PartialsOf(JsonField const& field) {
  templating::Partials partials;
  auto const members = field.Members();
  if (members.size() > limits::kPartials) {
    field.Fail("holds " + std::to_string(members.size()) + " partials; at most " + std::to_string(limits::kPartials) +
               " are allowed");
  }
  for (auto const& [name, text] : members) {
    if (name.empty()) {
      text.Fail("a partial's name must not be empty");
    }
    partials.emplace(name, text.String());
  }
  return partials;
}

}  // namespace

Response ErrorResponse(int status, std::string const& kind, std::string const& message) {
  return {status, {{"error", {{"kind", kind}, {"message", message}}}}};
}

Api::Api(std::vector<ChoosableEvent> events, std::string startTemplate)
    : events_(std::move(events)), startTemplate_(std::move(startTemplate)) {}

namespace {

// The event that `field` names: {"id": <one of the chooser's events>} or
// {"json": <an event's JSON text>}, read as `orv-action data` reads a file.
std::shared_ptr<meta::data::Event const> ChosenEvent(JsonField const& field,
                                                     std::vector<ChoosableEvent> const& events) {
  field.OnlyFields({"id", "json"});
  if (field.Has("id") == field.Has("json")) {
    field.Fail("expected either 'id' or 'json'");
  }
  if (field.Has("id")) {
    JsonField const id = field["id"];
    std::string const wanted = id.String();
    std::vector<std::string> ids;
    for (auto const& choosable : events) {
      if (choosable.id == wanted) {
        return choosable.event;
      }
      ids.push_back(choosable.id);
    }
    id.Fail("no event '" + Shorten(wanted) + "'; the events are " + Join(ids));
  }
  std::string text = field["json"].String();
  if (text.size() > tool::limits::kJsonTextBytes) {
    throw UnusableInput("event", std::string(kPastedEventName) + ": larger than " +
                                     DescribeBytes(tool::limits::kJsonTextBytes) + ", the limit of an event file");
  }
  try {
    return ReadEvent(SourceText(kPastedEventName, std::move(text)));
  } catch (InputError const& error) {
    throw UnusableInput("event", error.what());
  }
}

}  // namespace

Response Api::Examples() const {
  return Guarded([this] {
    nlohmann::json events = nlohmann::json::array();
    for (auto const& choosable : events_) {
      events.push_back({{"id", choosable.id}, {"label", choosable.label}, {"source", choosable.source}});
    }
    return Response{kOk, {{"events", events}, {"template", startTemplate_}, {"escapes", EscapeNames()}}};
  });
}

Response Api::Types() const {
  return Guarded([] {
    nlohmann::json types = nlohmann::json::array();
    for (std::string const& typeName : GetRegisteredTypeNames()) {
      nlohmann::json properties = nlohmann::json::array();
      // The defaults are what a new action of the type holds.
      for (auto const& property : MakeConfigurableAction(typeName).properties) {
        // Every value text but a secret's "***" is JSON.
        nlohmann::json const value = property->IsSecret()
                                         ? nlohmann::json(nullptr)
                                         : nlohmann::json::parse(ValueTextOf(*property), nullptr, false);
        properties.push_back({{"name", property->GetName()},
                              {"type", ValueTypeOf(*property)},
                              {"default", value.is_discarded() ? nlohmann::json(nullptr) : value},
                              {"secret", property->IsSecret()},
                              {"description", property->GetDescription()}});
      }
      types.push_back({{"name", typeName}, {"properties", properties}});
    }
    return Response{kOk, {{"types", types}}};
  });
}

Response Api::Data(std::string const& body) const {
  return Guarded([&] {
    RequestBody const request(body);
    request.Root().OnlyFields({"event"});
    auto const event = ChosenEvent(request.Root()["event"], events_);
    return Response{kOk, {{"data", nlohmann::json::parse(action::TemplateDataToJson(action::SerializeEvent(event)))}}};
  });
}

Response Api::Render(std::string const& body) const {
  return Guarded([&] {
    RequestBody const request(body);
    JsonField const& root = request.Root();
    root.OnlyFields({"event", "template", "escape", "partials"});
    auto const event = ChosenEvent(root["event"], events_);
    SourceText const source(kTemplateName, root["template"].String());
    templating::Escape const escape = root.Has("escape") ? EscapeOf(root["escape"]) : templating::Escape::None;
    templating::Partials const partials = root.Has("partials") ? PartialsOf(root["partials"]) : templating::Partials{};
    std::optional<Rendering> rendering;
    try {
      rendering.emplace(RenderTemplate(source.Text(), escape, partials, action::SerializeEvent(event)));
    } catch (templating::SyntaxError const& error) {
      return SyntaxErrorResponse(error, source);
    }
    nlohmann::json missing = MissingNamesJson(rendering->missingNames, source);
    if (!rendering->failure.empty()) {
      Response response = ErrorResponse(kUnprocessable, "render", rendering->failure);
      response.body["missing"] = std::move(missing);
      return response;
    }
    return Response{kOk, {{"text", std::move(rendering->text)}, {"missing", std::move(missing)}}};
  });
}

Response Api::Test(std::string const& body) const {
  return Guarded([&] {
    RequestBody const request(body);
    JsonField const& root = request.Root();
    root.OnlyFields({"type", "properties", "templateProperty", "template", "text"});
    JsonField const type = root["type"];
    std::optional<ConfigurableAction> configurable;
    try {
      configurable.emplace(MakeConfigurableAction(type.String()));
    } catch (InputError const& error) {
      throw UnusableInput("action", type.Where() + ": " + error.what());
    }
    // Looks a property up, naming the request's place when there is none.
    auto const propertyAt = [&configurable](JsonField const& field, std::string const& name) -> property::Property& {
      try {
        return configurable->Get(name);
      } catch (InputError const& error) {
        throw UnusableInput("action", field.Where() + ": " + error.what());
      }
    };
    try {
      if (root.Has("properties")) {
        for (auto const& [name, value] : root["properties"].Members()) {
          SetFromJson(propertyAt(value, name), value);
        }
      }
    } catch (UnusableInput const&) {
      throw;
    } catch (InputError const& error) {
      throw UnusableInput("action", error.what());
    }
    if (root.Has("templateProperty") != root.Has("template")) {
      root.Fail("'templateProperty' and 'template' come together");
    }
    if (root.Has("template")) {
      JsonField const name = root["templateProperty"];
      property::Property& target = propertyAt(name, name.String());
      if (ValueTypeOf(target) != "string") {
        throw UnusableInput("action", name.Where() + ": property '" + target.GetName() + "' holds " +
                                          ValueTypeOf(target) + ", not a template");
      }
      SourceText const source(kTemplateName, root["template"].String());
      try {
        // Compiled here first so that a syntax error is placed in the template itself.
        templating::Template const check(source.Text());
      } catch (templating::SyntaxError const& error) {
        return SyntaxErrorResponse(error, source);
      }
      try {
        SetFromJson(target, root["template"]);
      } catch (InputError const& error) {
        throw UnusableInput("action", error.what());
      }
    }
    std::string const text = root.Has("text") ? root["text"].String() : std::string("test");
    nlohmann::json answer = {{"audit", AuditOfTest(*configurable->action, text)}};
    TestOutcome const outcome = FireTest(*configurable->action, text);
    switch (outcome.kind) {
      case TestOutcome::Kind::Executed:
        answer["outcome"] = "executed";
        answer["result"] = outcome.hasResult;
        break;
      case TestOutcome::Kind::ActionFailure:
        answer["outcome"] = "failed";
        answer["code"] = outcome.code;
        answer["key"] = outcome.key;
        break;
      case TestOutcome::Kind::OtherFailure:
        answer["outcome"] = "failed";
        answer["failure"] = outcome.failure;
        break;
      case TestOutcome::Kind::UnknownFailure:
        answer["outcome"] = "failed";
        answer["failure"] = "an exception that is neither a std::exception nor an orv::action::Exception";
        break;
    }
    answer["detail"] = outcome.detail;
    return Response{kOk, std::move(answer)};
  });
}

}  // namespace orv::tool::studio
