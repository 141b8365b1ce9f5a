#pragma once

// Marks the public API of liborv_log, which is built with hidden symbol
// visibility: only what carries this macro is exported.
#define ORV_LOG_API __attribute__((visibility("default")))
