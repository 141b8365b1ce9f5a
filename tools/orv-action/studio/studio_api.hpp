#pragma once

#include <cstddef>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "orv/meta/data/event.hpp"

namespace orv::tool::studio {

// Limits on what one API request may hold; docs/studio.md lists them.
namespace limits {
// Bytes of one request body: a pasted event of the largest size an event file
// may have, with a template and its partials.
inline constexpr std::size_t kRequestBytes = std::size_t{20} << 20;
// Partials beside the main template.
inline constexpr std::size_t kPartials = 100;
}  // namespace limits

// An event that the page offers in its chooser.
struct ChoosableEvent {
  std::string id;      // how requests name it: "golden", "file1"
  std::string label;   // what the chooser shows
  std::string source;  // where it comes from: a bundled example's file name, a path
  std::shared_ptr<meta::data::Event const> event;
};

// What one API call answers: an HTTP status and a JSON body.
struct Response {
  int status;
  nlohmann::json body;
};

// The JSON API behind the studio's page, apart from HTTP. Each call takes
// the request's body and answers with the status and JSON it gets; nothing
// it is given makes it throw. Errors are {"error": {"kind": ..., "message":
// ...}}: "request" (400) for a body that is no JSON or lacks a field,
// "event", "template", "render" and "action" (422) for an event, template or
// action setting that cannot be used. Rendering and the template data go
// through the same functions as `orv-action render` and `data`, and a test
// through those of `orv-action test`. docs/studio.md describes each call.
class Api {
 public:
  // `events` are offered in this order; `startTemplate` is the template the
  // page opens with. Plug-ins must be loaded before Types and Test are called.
  Api(std::vector<ChoosableEvent> events, std::string startTemplate);

  // GET /api/examples: the events, the start template and the escapings.
  Response Examples() const;
  // GET /api/types: the registered action types and their properties.
  Response Types() const;
  // POST /api/data: the template data of an event.
  Response Data(std::string const& body) const;
  // POST /api/render: a template rendered with an event's template data.
  Response Render(std::string const& body) const;
  // POST /api/test: an action made, set up and fired once through Test.
  Response Test(std::string const& body) const;

 private:
  std::vector<ChoosableEvent> events_;
  std::string startTemplate_;
};

// {"error": {"kind": kind, "message": message}} with `status`.
Response ErrorResponse(int status, std::string const& kind, std::string const& message);

}  // namespace orv::tool::studio
