#pragma once

// The one way our code includes cereal: its dispatch looks for members and
// free functions named in upper camel case, as the rest of the framework names
// them (`Serialize`, `Save`). Every translation unit must agree on these names,
// so they are also set for every target that links orv::templating.
#ifndef CEREAL_SERIALIZE_FUNCTION_NAME
#define CEREAL_SERIALIZE_FUNCTION_NAME Serialize
#endif
#ifndef CEREAL_SAVE_FUNCTION_NAME
#define CEREAL_SAVE_FUNCTION_NAME Save
#endif

#include <cereal/cereal.hpp>
