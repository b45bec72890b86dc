#pragma once

// Sorting the entries of a json by value. Stable.

#include "runtime/payload/std_json.h"

// Numbers by size with NaN behind them, then strings by their bytes, then the rest in its order.
void tvr_sort_values(tvr_std_json& list);

// By the truth of less(a, b), which may do whatever script can do. False, with every entry where it
// was, after an error in it or when it has changed the list; the error has been raised.
bool tvr_sort_values(tvr_std_json& list, tvrvar& less);
