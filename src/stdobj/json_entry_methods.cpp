// std.json: entries one by one.

#include <algorithm>

#include "runtime/local/error_sink.h"
#include "stdobj/arguments.h"
#include "stdobj/json_methods.h"
#include "stdobj/method.h"
#include "stdobj/self_value.h"

namespace {

using json = tvr_std_json;

tvrvar_shared push_value(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    tvr_json_self(object).push_back(tvr_arguments("push", args).copy(0));
    return tvr_self_value(tvr_json_self(object));
}

// Not the removed element, whatever its documentation says.
tvrvar_shared pop_last(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    tvr_json_self(object).erase(-1);
    return tvr_self_value(tvr_json_self(object));
}

tvrvar_shared insert_value(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    json& self = tvr_json_self(object);
    int64_t place = args[0]->int_value();
    json::entry added;
    added.value = tvr_arguments("insert", args).copy(1);
    const auto count = int64_t(self.size());
    if (place < 0) place = std::max<int64_t>(place + count, 0);
    self.entries.insert(self.entries.begin() + std::min(place, count), std::move(added));
    if (!self.is_list()) self.entries_moved();
    return tvr_self_value(self);
}

tvrvar_shared count_entries(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    return int64_t(tvr_json_self(object).size());
}

tvrvar_shared clear_all(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    tvr_json_self(object).clear();
    return tvr_self_value(tvr_json_self(object));
}

tvrvar_shared clear_and_free(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    tvr_json_self(object).clear_free();
    return tvr_self_value(tvr_json_self(object));
}

tvrvar_shared key_at(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const auto wanted = tvr_arguments("key", args).whole(0, "index");
    if (!wanted) return {};
    const json& self = tvr_json_self(object);
    const auto count = int64_t(self.size());
    const int64_t place = *wanted < 0 ? *wanted + count : *wanted;
    if (place < 0 || place >= count) {
        runtime_warning("index out of range!");
        return {};
    }
    const json::entry& found = self.entries[size_t(place)];
    return found.has_key() ? tvrvar_shared(found.name()) : tvrvar_shared();
}

// The first entry whose value passes; false when none does.
template <typename TEST>
bool erase_first(json& self, TEST test) {
    for (size_t i = 0; i < self.size(); ++i) {
        const tvrvar_shared value = self.entries[i].value->deref();
        if (test(*value)) return self.erase(int64_t(i));
    }
    return false;
}

tvrvar_shared erase_entry(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const tvrvar_shared wanted = args[0]->deref();
    json& self = tvr_json_self(object);
    if (wanted->is_number()) return self.erase(wanted->int_value());
    if (wanted->type == tvrvar_type_json) {
        const auto same = [&](tvrvar& value) {
            return value.type == tvrvar_type_json && value.object_ptr() == wanted->object_ptr();
        };
        return erase_first(self, same);
    }
    return self.erase(std::string_view(wanted->string_value()));
}

tvrvar_shared erase_value(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    return erase_first(tvr_json_self(object),
                       [&](tvrvar& value) { return value.compare_equal(*args[0]); });
}

tvrvar_shared remove_everywhere(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    tvr_json_self(object).remove_key(args[0]->string_value());
    return tvr_self_value(tvr_json_self(object));
}

// Lets go of the entries in front of a place, or from one on; they end when the json is whole
// again.
std::vector<json::entry> take_out(json& self, size_t from, size_t to) {
    const auto first = self.entries.begin() + std::ptrdiff_t(from);
    const auto last = self.entries.begin() + std::ptrdiff_t(to);
    std::vector<json::entry> gone(std::make_move_iterator(first), std::make_move_iterator(last));
    self.entries.erase(first, last);
    if (!self.is_list()) self.entries_moved();
    return gone;
}

tvrvar_shared resize_list(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    constexpr int64_t largest_size = int64_t(1) << 26;  // some gigabytes
    json& self = tvr_json_self(object);
    const int64_t wanted = args[0]->int_value();
    if (wanted < 0 || wanted > largest_size) {
        runtime_warning("size out of range!");
        return tvr_self_value(self);
    }
    const auto size = size_t(wanted);
    if (size < self.size()) {
        take_out(self, size, self.size());
    } else {
        self.entries.reserve(size);
        while (self.size() < size) self.create_member();
    }
    return tvr_self_value(self);
}

// The memory of the entries stays where it is: a full list never allocates.
tvrvar_shared push_cyclic(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    json& self = tvr_json_self(object);
    const int64_t most = args[1]->int_value();
    if (most < 1) {
        runtime_error("push_cyclic: max_entries must be greater than 0");
        return {};
    }
    tvrvar_shared value = tvr_arguments("push_cyclic", args).copy(0);
    const size_t kept = size_t(most) - 1;
    if (self.size() == kept + 1) {
        self.erase(int64_t(0));
    } else if (self.size() > kept) {
        take_out(self, 0, self.size() - kept);
    }
    self.push_back(value);
    return tvr_self_value(self);
}

const char* const count_text =
    "Returns the number of elements in a JSON array or the number of keys in a JSON object.";

void add_at_the_ends(tvrobject_metadata& m) {
    tvr_add_method(m, {"push", "push_back"}, push_value, 1, 1,
                   {.description = "Adds the supplied value to the given JSON container and "
                                   "returns the modified object",
                    .params = {"value: any"},
                    .returns_class = "std.json"},
                   tvr_intrinsic::json_push);
    tvr_add_method(m, {"pop", "pop_back"}, pop_last, 0, 0,
                   {.description = "Removes the last element from the JSON container and returns "
                                   "it.",
                    .returns_class = "std.json"});
    tvr_add_method(m, {"push_cyclic"}, push_cyclic, 2, 2,
                   {.description = "Adds a value to the back of the JSON list, removing elements "
                                   "from the front if the size would exceed max_entries.",
                    .params = {"value: any - what to append",
                               "max_entries: int - how many entries there may be, from 1 on"},
                    .returns_class = "std.json"});
    tvr_add_method(m, {"resize"}, resize_list, 1, 1,
                   {.description = "Resizes a JSON list to the specified size.",
                    .params = {"size: int - how many entries it will have"},
                    .returns_class = "std.json"});
}

void add_anywhere(tvrobject_metadata& m) {
    tvr_add_method(m, {"insert"}, insert_value, 2, 2,
                   {.description = "Inserts a value at the specified index in the JSON container, "
                                   "shifting existing elements. Negative indices count from the "
                                   "end.",
                    .params = {"index: int - where the value will stand",
                               "value: any - what to insert, without a key"},
                    .returns_class = "std.json"});
    tvr_add_method(m, {"size"}, count_entries, 0, 0, {.description = count_text});
    tvr_add_method(m, {"clear"}, clear_all, 0, 0,
                   {.description = count_text, .returns_class = "std.json"});
    tvr_add_method(m, {"clear_free"}, clear_and_free, 0, 0,
                   {.description = "Clears the JSON container and frees all objects inside it.",
                    .returns_class = "std.json"});
    tvr_add_method(m, {"key"}, key_at, 1, 1,
                   {.description = "Return the key at a specified index from a JSON object",
                    .params = {"index: int - of the entry, from the end when negative"}});
}

void add_erasing(tvrobject_metadata& m) {
    tvr_add_method(m, {"erase", "remove"}, erase_entry, 1, 1,
                   {.description = "Removes a key or index from a JSON object and returns whether "
                                   "the removal succeeded.",
                    .params = {"key: string - or an index, or a json that is one of the values"}});
    tvr_add_method(m, {"erase_value", "remove_value"}, erase_value, 1, 1,
                   {.description = "Removes a value from a JSON object and returns whether the "
                                   "removal succeeded.",
                    .params = {"value: any - the first that is equal goes"}});
    tvr_add_method(m, {"remove_all_keys"}, remove_everywhere, 1, 1,
                   {.description = "Removes a key from the JSON object and all nested JSON objects "
                                   "recursively.",
                    .params = {"key: string - the key"},
                    .returns_class = "std.json"});
}

}  // namespace

void tvr_add_json_entry_methods(tvrobject_metadata& m) {
    add_at_the_ends(m);
    add_anywhere(m);
    add_erasing(m);
}
