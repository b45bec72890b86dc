#pragma once

// Deep copies. Script thread.

#include "runtime/value/value.h"

// A new json with a copy of everything below it. What stood in several places, or inside of itself,
// does so in the copy; values that are no json are assigned. What lies deeper than
// tvr_max_json_depth is left out, with a warning.
tvrvar_shared tvr_copy_json(tvr_std_json& source);
