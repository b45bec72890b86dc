#pragma once

// The script methods of std.string, by groups. Script thread.
//
// Values of type string have them. A method ending in "_inplace" changes the text of the variable,
// member or element that it is called on and returns it; on any other value it changes a copy. Its
// partner returns a new string.

#include "runtime/object/metadata.h"
#include "runtime/payload/std_string.h"
#include "stdobj/string_split.h"

void tvr_register_string_changes(tvrobject_metadata& m);  // trim, replace, pad ...
void tvr_register_string_searches(tvrobject_metadata& m);
void tvr_register_string_parts(tvrobject_metadata& m);
void tvr_register_string_patterns(tvrobject_metadata& m);  // regular expressions

inline tvr_std_string& tvr_string_of(tvrobject_base* object) {
    return *static_cast<tvr_std_string*>(object);
}

// A json list of strings.
tvrvar_shared tvr_string_list(const tvr_text_parts& parts);

// A new string of a text that is not needed any more.
tvrvar_shared tvr_string_value(std::string&& text);
