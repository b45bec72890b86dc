#pragma once

// Sorting the entries of a json by key or by a member of each value. Entries without a key stand
// behind the others, in no certain order; a list stays as it is. Script thread.

#include "runtime/payload/std_json.h"

// By key, capital letters like small ones. Not stable.
void tvr_sort_by_key(tvr_std_json& json);
// By key, byte by byte, the greatest in front. Not stable.
void tvr_sort_by_key_reverse(tvr_std_json& json);

// Stable, by the member `key` of each value: numbers by size, anything else by text. Who has none
// stands behind those who have one, in both directions.
void tvr_sort_by_member(tvr_std_json& json, std::string_view key, bool descending);
