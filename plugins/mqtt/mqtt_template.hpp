#pragma once

#include <mstch/mstch.hpp>
#include <string>
#include <variant>

#include "mqtt/mqtt_message.hpp"
#include "network/failure.hpp"
#include "orv/templating/template.hpp"

namespace orv::plugins::mqtt {

// The topic an action publishes to when it is not told otherwise.
inline constexpr char const* kDefaultTopic = "orv/{{the_event.host}}/events/{{the_event.type.string}}";

// Everything of an event's publication that is rendered from the event.
struct MqttTemplate {
  templating::Template topic{kDefaultTopic, templating::Escape::None};
  // Empty text: the whole template data as JSON.
  std::string payloadText;
  templating::Template payload{"", templating::Escape::Json};
  int qos = 1;
  bool retain = false;
};

// Renders the publication of one event from its template data: the topic
// without escaping and without white space at either end, the payload with
// JSON escaping, or, when the payload text is empty, the data as one line of
// JSON (TemplateDataToJson). The failure (code 9) when the topic renders
// empty, or (code 10) when it cannot be published to (a wildcard + or #, a
// control character, not UTF-8, longer than 65535 bytes). A pure function of its arguments; throws
// only what rendering throws.
std::variant<Publication, network::Failure> Render(MqttTemplate const& mqtt, mstch::map const& data);

}  // namespace orv::plugins::mqtt
