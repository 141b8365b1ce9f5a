#pragma once

namespace orv::tool::bundled {

// The example event and notification template that `data` and `render` use
// when no file is given, built into the program.
extern char const* const kEvent;
extern char const* const kTemplate;

// An event with one record of every kind, which the studio offers beside
// kEvent: a template checked against it is told of every misspelt name.
extern char const* const kEveryKindEvent;

}  // namespace orv::tool::bundled
