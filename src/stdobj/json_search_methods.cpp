// std.json: asking for keys and values.

#include <cctype>

#include "stdobj/json_methods.h"
#include "stdobj/method.h"

namespace {

using json = tvr_std_json;

tvrvar_shared has_key(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    std::string scratch;
    return tvr_json_self(object).has(args[0]->deref()->text_view(scratch));
}

// By position and held, since a comparison may ask native objects, which may do anything.
template <typename TEST>
bool has_entry(json& self, TEST test) {
    for (size_t i = 0; i < self.size(); ++i) {
        const tvrvar_shared value = self.entries[i].value;
        if (test(*value)) return true;
    }
    return false;
}

tvrvar_shared has_value(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    return has_entry(tvr_json_self(object),
                     [&](tvrvar& value) { return value.compare_equal(*args[0]); });
}

tvrvar_shared has_text(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const std::string wanted = args[0]->string_value();
    std::string text;
    return has_entry(tvr_json_self(object), [&](tvrvar& value) {
        value.string_value(text);
        return text == wanted;
    });
}

bool equal_but_for_case(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::tolower(uint8_t(a[i])) != std::tolower(uint8_t(b[i]))) return false;
    }
    return true;
}

const json::entry* find_but_for_case(const json& self, tvrvar& wanted) {
    const std::string key = wanted.string_value();
    for (const json::entry& e : self.entries) {
        if (e.has_key() && equal_but_for_case(e.name(), key)) return &e;
    }
    return nullptr;
}

tvrvar_shared get_but_for_case(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const json::entry* found = find_but_for_case(tvr_json_self(object), *args[0]);
    return found != nullptr ? found->value : tvrvar_shared();
}

tvrvar_shared has_but_for_case(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    return find_but_for_case(tvr_json_self(object), *args[0]) != nullptr;
}

}  // namespace

void tvr_add_json_search_methods(tvrobject_metadata& m) {
    const char* key = "key: string - the key";
    const char* value = "value: any - the value";
    tvr_add_method(
        m, {"has"}, has_key, 1, 1,
        {.description = "Checks if the JSON object contains a given key.", .params = {key}});
    tvr_add_method(
        m, {"has_value"}, has_value, 1, 1,
        {.description = "Checks if the JSON object contains a given value.", .params = {value}});
    tvr_add_method(m, {"has_value_str"}, has_text, 1, 1,
                   {.description = "Checks if the JSON object contains a given value (as string).",
                    .params = {value}});
    tvr_add_method(
        m, {"geti"}, get_but_for_case, 1, 1,
        {.description = "Get a member value by key (case-insensitive)", .params = {key}});
    tvr_add_method(
        m, {"hasi"}, has_but_for_case, 1, 1,
        {.description = "Check if JSON object contains a key (case-insensitive)", .params = {key}});
}
