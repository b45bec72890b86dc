// std.json: one container from others.

#include <algorithm>

#include "runtime/payload/json_copy.h"
#include "runtime/value/plain_value.h"
#include "stdobj/json_methods.h"
#include "stdobj/json_unique.h"
#include "stdobj/method.h"
#include "stdobj/self_value.h"

namespace {

using json = tvr_std_json;

tvrvar_shared new_json() {
    tvrvar_shared made = tvrvar_shared::make();
    made->as_json(true);
    return made;
}

// Assigns a value to a new entry.
void add_entry(json& to, const tvr_json_key& key, tvrvar& value) {
    to.create_member(key)->set(value);
}

tvrvar_shared copy(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    return tvr_copy_json(tvr_json_self(object));
}

tvrvar_shared to_list(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    tvrvar_shared made = new_json();
    json& list = made->as_json(false);
    const json& self = tvr_json_self(object);
    for (size_t i = 0; i < self.size(); ++i) {
        const tvrvar_shared value = self.entries[i].value;
        add_entry(list, {}, *value);
    }
    return made;
}

tvrvar_shared drop_duplicates(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    tvr_unique_entries(tvr_json_self(object));
    return tvr_self_value(tvr_json_self(object));
}

tvrvar_shared filter_keys(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    return tvr_filter_keys(tvr_json_self(object), tvr_text_filter(*args[0]));
}

tvrvar_shared filter_values(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const tvr_text_filter filter(*args[0]);
    tvrvar_shared made = new_json();
    json& found = made->as_json(false);
    for (const json::entry& e : tvr_json_self(object).entries) {
        if (filter.matches(e.value->string_view())) add_entry(found, e.key, *e.value);
    }
    return made;
}

bool overwrites(const tvr_native_args& args) {
    return args.size() < 2 || !args[1]->compare_zero();
}

enum class keyless { left_out, appended };

// As many entries as the other one has now: it may be the same one.
void take_entries(json& self, const json& other, bool overwrite, keyless others) {
    const size_t count = other.size();
    for (size_t i = 0; i < count && i < other.size(); ++i) {
        const tvrvar_shared value = other.entries[i].value;
        const tvr_json_key key = other.entries[i].key;
        if (!key) {
            if (others == keyless::appended) add_entry(self, {}, *value);
        } else if (overwrite || !self.has(key.text())) {
            self.get_member(key.text())->set(*value);
        }
    }
}

tvrvar_shared merge(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    json& self = tvr_json_self(object);
    if (const auto* other = args[0]->object<json>()) {
        take_entries(self, *other, overwrites(args), keyless::left_out);
    }
    return tvr_self_value(self);
}

tvrvar_shared append(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    json& self = tvr_json_self(object);
    const tvr_plain_value added(*args[0]);
    if (const auto* other = added->object<json>()) {
        take_entries(self, *other, overwrites(args), keyless::appended);
    } else if (!added->is_none()) {
        add_entry(self, {}, *added);
    }
    return tvr_self_value(self);
}

void add_copying(tvrobject_metadata& m) {
    tvr_add_method(m, {"copy"}, copy, 0, 0,
                   {.description = "Creates a deep copy of the JSON object. If the JSON references "
                                   "itself, the copy contains the same self-reference instead of "
                                   "failing.",
                    .returns_class = "std.json"});
    tvr_add_method(m, {"to_list"}, to_list, 0, 0,
                   {.description = "Converts the JSON object into a list by removing all keys from "
                                   "each entry.",
                    .returns_class = "std.json"});
    tvr_add_method(m, {"unique"}, drop_duplicates, 0, 0,
                   {.description = "Removes duplicate entries. For lists, duplicates are detected "
                                   "by value. For objects, duplicate keys are removed, keeping the "
                                   "first occurrence.",
                    .returns_class = "std.json"});
}

void add_filters(tvrobject_metadata& m) {
    const char* filter = "filter: string - or a json of strings, of which one is enough";
    tvr_add_method(m, {"filter_key"}, filter_keys, 1, 1,
                   {.description = "Filter JSON object's keys by matching substrings and return "
                                   "the filtered JSON.",
                    .params = {filter},
                    .returns_class = "std.json"});
    tvr_add_method(m, {"filter_value"}, filter_values, 1, 1,
                   {.description = "Return a new JSON object containing only string members whose "
                                   "values include a specific substring",
                    .params = {filter},
                    .returns_class = "std.json"});
}

void add_joining(tvrobject_metadata& m) {
    const char* overwrite =
        "overwrite: bool - whether keys that are there get the other's values; "
        "true if left out";
    tvr_add_method(m, {"merge"}, merge, 1, 2,
                   {.description = "Merge another JSON object into this one. If overwrite is true, "
                                   "existing keys will be replaced.",
                    .params = {"other: json - whose entries with keys are taken", overwrite},
                    .returns_class = "std.json"});
    tvr_add_method(
        m, {"append"}, append, 1, 2,
        {.description = "Appends another JSON object into this one. If overwrite is "
                        "true, existing keys will be replaced.",
         .params = {"other: json - whose entries are taken, or a single value", overwrite},
         .returns_class = "std.json"});
}

}  // namespace

tvr_text_filter::tvr_text_filter(tvrvar& wanted) {
    const tvr_plain_value plain(wanted);
    const auto* list = plain->object<json>();
    if (list == nullptr) {
        parts.push_back(plain->string_value());
        return;
    }
    for (size_t i = 0; i < list->size(); ++i) {
        const tvrvar_shared value = list->entries[i].value;
        parts.push_back(value->string_value());
    }
}

bool tvr_text_filter::matches(std::string_view text) const {
    return std::any_of(parts.begin(), parts.end(), [&](const std::string& part) {
        return text.find(part) != std::string_view::npos;
    });
}

tvrvar_shared tvr_filter_keys(const tvr_std_json& self, const tvr_text_filter& filter) {
    tvrvar_shared made = new_json();
    json& found = made->as_json(false);
    for (size_t i = 0; i < self.size(); ++i) {
        const tvrvar_shared value = self.entries[i].value;
        const tvr_json_key key = self.entries[i].key;
        if (key && filter.matches(key.text())) add_entry(found, key, *value);
    }
    return made;
}

void tvr_add_json_whole_methods(tvrobject_metadata& m) {
    add_copying(m);
    add_filters(m);
    add_joining(m);
}
