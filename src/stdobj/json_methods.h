#pragma once

// The script methods of std.json, a file for each group. Script thread.
//
//   json_methods.cpp            all of them: the class's registration
//   json_entry_methods.cpp      entries one by one: push, insert, erase, push_cyclic ...
//   json_search_methods.cpp     has, has_value, geti ...
//   json_whole_methods.cpp      whole containers: copy, merge, filter_key, unique ...
//   json_text_methods.cpp       string, from_string, debug_refs ...
//   json_sort_methods.cpp       sort, sort_by ... (json_sort.h)
//   json_callback_methods.cpp   foreach, map, reduce ... (json_iteration.h)

#include "runtime/payload/std_json.h"

void tvr_add_json_entry_methods(tvrobject_metadata& metadata);
void tvr_add_json_search_methods(tvrobject_metadata& metadata);
void tvr_add_json_whole_methods(tvrobject_metadata& metadata);
void tvr_add_json_text_methods(tvrobject_metadata& metadata);
void tvr_add_json_sort_methods(tvrobject_metadata& metadata);
void tvr_add_json_callback_methods(tvrobject_metadata& metadata);

// The json that a method was called on.
inline tvr_std_json& tvr_json_self(tvrobject_base* object) {
    return *static_cast<tvr_std_json*>(object);
}

// Texts that are looked for in others: a string, or every entry of a json.
class tvr_text_filter {
public:
    explicit tvr_text_filter(tvrvar& wanted);

    // Whether one of them stands in a text.
    bool matches(std::string_view text) const;

private:
    std::vector<std::string> parts;
};

// Those entries of a json whose keys match. Entries without a key never do.
tvrvar_shared tvr_filter_keys(const tvr_std_json& json, const tvr_text_filter& filter);
