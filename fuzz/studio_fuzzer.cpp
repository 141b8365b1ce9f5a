// The studio's JSON API, as the page or anyone on the machine may call it:
// a request body for POST /api/data or POST /api/render (the first byte
// chooses which). Every body gets an answer, never an exception: 200 with
// the data or the rendering, 400 for a body that is no usable request, 422
// for an event or template that cannot be used, with an error of the kind
// the status stands for. POST /api/test is left out: it fires actions, and
// the targets never send.

#include <cstdlib>
#include <ctime>
#include <memory>
#include <set>
#include <string>

#include "event_file.hpp"
#include "fuzz_support.hpp"
#include "studio_api.hpp"

namespace {

using namespace orv;

tool::studio::Api& TheApi() {
  static tool::studio::Api api({tool::studio::ChoosableEvent{"golden", "Every kind of record", "every_kind.json",
                                                             tool::ReadEventFile(ORV_FUZZ_FIXED_EVENT)}},
                               "{{the_event.name}}");
  return api;
}

void CheckError(tool::studio::Response const& response, std::string const& body) {
  static std::set<std::string> const kUnusable = {"event", "template", "render"};
  auto const& error = response.body.at("error");
  std::string const kind = error.at("kind").get<std::string>();
  std::string const message = error.at("message").get<std::string>();
  fuzz::Check(!message.empty(), "an API error without a message", body);
  if (response.status == 400) {
    fuzz::Check(kind == "request", "a 400 answer not of kind request", kind);
  } else {
    fuzz::Check(response.status == 422 && kUnusable.contains(kind), "an API error of an unknown status or kind",
                std::to_string(response.status) + " " + kind);
  }
  if (kind == "template") {
    fuzz::Check(error.at("line").get<std::size_t>() >= 1 && error.at("column").get<std::size_t>() >= 1,
                "a template error at no place", message);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Template data shows local times; one zone keeps every run alike.
  setenv("TZ", "UTC", 1);
  tzset();
  TheApi();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  bool const render = (data[0] & 1) != 0;
  std::string const body(fuzz::AsText(data + 1, size - 1));
  auto const response = render ? TheApi().Render(body) : TheApi().Data(body);
  if (response.status == 200) {
    fuzz::Check(render ? response.body.at("text").is_string() : response.body.at("data").is_object(),
                "a 200 answer without its result", body);
  } else {
    CheckError(response, body);
  }
  // What the server sends: the answer as JSON text, whatever bytes the
  // template or the event held.
  std::string const text = response.body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  fuzz::Check(!text.empty(), "an answer without text");
  return 0;
}
