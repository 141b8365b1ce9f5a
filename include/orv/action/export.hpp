#pragma once

// Marks the public API of liborv_action, which is built with hidden symbol
// visibility: only what carries this macro is exported.
#define ORV_ACTION_API __attribute__((visibility("default")))
