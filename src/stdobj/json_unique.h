#pragma once

#include "runtime/payload/std_json.h"

// Keeps the first entry of each key; in a list the first of each value, numbers and texts apart.
// Script thread.
void tvr_unique_entries(tvr_std_json& json);
