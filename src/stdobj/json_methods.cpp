// The script methods of std.json. Their texts are quoted by documents and stay as they are, even
// where they are wrong.

#include "runtime/local/error_sink.h"
#include "runtime/payload/std_json.h"
#include "stdobj/arguments.h"
#include "stdobj/method.h"
#include "stdobj/self_value.h"

namespace {

using json = tvr_std_json;

json& self_of(tvrobject_base* object) {
    return *static_cast<json*>(object);
}

tvrvar_shared push_value(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    self_of(object).push_back(tvr_arguments("push", args).copy(0));
    return tvr_self_value(self_of(object));
}

// Not the removed element, whatever its documentation says.
tvrvar_shared pop_last(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    self_of(object).erase(-1);
    return tvr_self_value(self_of(object));
}

tvrvar_shared count_entries(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    return int64_t(self_of(object).size());
}

tvrvar_shared clear_all(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    self_of(object).clear();
    return tvr_self_value(self_of(object));
}

tvrvar_shared key_at(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const auto wanted = tvr_arguments("key", args).whole(0, "index");
    if (!wanted) return {};
    const json& self = self_of(object);
    const auto count = int64_t(self.size());
    const int64_t place = *wanted < 0 ? *wanted + count : *wanted;
    if (place < 0 || place >= count) {
        runtime_warning("index out of range!");
        return {};
    }
    const json::entry& found = self.entries[size_t(place)];
    return found.has_key() ? tvrvar_shared(found.name()) : tvrvar_shared();
}

tvrvar_shared has_key(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    std::string scratch;
    return self_of(object).has(args[0]->deref()->text_view(scratch));
}

bool erase_same(json& self, const tvrobject_base* wanted) {
    for (size_t i = 0; i < self.size(); ++i) {
        const tvrvar_shared value = self.entries[i].value->deref();
        if (value->type == tvrvar_type_json && value->object_ptr() == wanted) {
            return self.erase(int64_t(i));
        }
    }
    return false;
}

tvrvar_shared erase_entry(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const tvrvar_shared wanted = args[0]->deref();
    json& self = self_of(object);
    if (wanted->is_number()) return self.erase(wanted->int_value());
    if (wanted->type == tvrvar_type_json) return erase_same(self, wanted->object_ptr());
    return self.erase(std::string_view(wanted->string_value()));
}

tvrvar_shared print_json(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const bool compact = !args.empty() && !args[0]->compare_zero();
    tvrvar_shared text = tvrvar_shared::make();
    text->as_string(self_of(object).to_string(compact));
    return text;
}

}  // namespace

void tvr_std_json::script_register(tvrobject_metadata& m) {
    m.description = "Create a new JSON object, optionally initialized from a JSON string";
    const char* count_text =
        "Returns the number of elements in a JSON array or the number of keys in a JSON object.";
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
    tvr_add_method(m, {"size"}, count_entries, 0, 0, {.description = count_text});
    tvr_add_method(m, {"clear"}, clear_all, 0, 0,
                   {.description = count_text, .returns_class = "std.json"});
    tvr_add_method(m, {"key"}, key_at, 1, 1,
                   {.description = "Return the key at a specified index from a JSON object",
                    .params = {"index: int"}});
    tvr_add_method(m, {"has"}, has_key, 1, 1,
                   {.description = "Checks if the JSON object contains a given key.",
                    .params = {"key: string"}});
    tvr_add_method(m, {"erase", "remove"}, erase_entry, 1, 1,
                   {.description = "Removes a key or index from a JSON object and returns whether "
                                   "the removal succeeded.",
                    .params = {"key: string - or an index"}});
    tvr_add_method(m, {"string"}, print_json, 0, 1,
                   {.description = "Convert JSON object to its string representation, optionally "
                                   "using compact output.",
                    .params = {"compact: int - flag to produce compact string (0) or "
                               "pretty-printed (non\u2011zero)"},
                    .returns_class = "std.string"});
}
