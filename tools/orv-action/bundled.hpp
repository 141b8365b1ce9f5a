#pragma once

namespace orv::tool::bundled {

// The example event and notification template that `data` and `render` use
// when no file is given, built into the program.
extern char const* const kEvent;
extern char const* const kTemplate;

}  // namespace orv::tool::bundled
