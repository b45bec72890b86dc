#include "stdobj/json_methods.h"

// Their texts are quoted by documents and stay as they are, even where they are wrong.
void tvr_std_json::script_register(tvrobject_metadata& m) {
    m.description = "Create a new JSON object, optionally initialized from a JSON string";
    tvr_add_json_entry_methods(m);
    tvr_add_json_search_methods(m);
    tvr_add_json_whole_methods(m);
    tvr_add_json_text_methods(m);
    tvr_add_json_sort_methods(m);
    tvr_add_json_callback_methods(m);
}
