// std.json: as text and from text.

#include "stdobj/arguments.h"
#include "stdobj/json_methods.h"
#include "stdobj/method.h"

namespace {

tvrvar_shared text_value(std::string&& text) {
    tvrvar_shared made = tvrvar_shared::make();
    made->as_string(std::move(text));
    return made;
}

bool wants_compact(const tvr_native_args& args) {
    return !args.empty() && !args[0]->compare_zero();
}

tvrvar_shared print(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    return text_value(tvr_json_self(object).to_string(wants_compact(args)));
}

tvrvar_shared print_compact(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    return text_value(tvr_json_self(object).to_string(true));
}

tvrvar_shared print_debug_refs(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    return text_value(tvr_json_self(object).debug_refs_string(wants_compact(args)));
}

// The separator stands behind every entry, the last one too.
tvrvar_shared combine(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    tvr_std_json& self = tvr_json_self(object);
    const std::string separator = args.empty() ? std::string() : args[0]->string_value();
    std::string all, scratch;
    for (size_t i = 0; i < self.size(); ++i) {
        const tvrvar_shared value = self.entries[i].value->deref();
        all += value->text_view(scratch);
        all += separator;
    }
    return text_value(std::move(all));
}

tvrvar_shared parse(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const auto text = tvr_arguments("from_string", args).text(0, "json");
    return text && tvr_json_self(object).from_string(*text, false);
}

}  // namespace

void tvr_add_json_text_methods(tvrobject_metadata& m) {
    tvr_add_method(m, {"string"}, print, 0, 1,
                   {.description = "Convert JSON object to its string representation, optionally "
                                   "using compact output.",
                    .params = {"compact: int - flag to produce compact string (0) or "
                               "pretty-printed (non\u2011zero)"},
                    .returns_class = "std.string"});
    tvr_add_method(m, {"compact_string"}, print_compact, 0, 0,
                   {.description = "Convert JSON object to its compact string representation.",
                    .returns_class = "std.string"});
    tvr_add_method(m, {"combine_string"}, combine, 0, 1,
                   {.description = "Combine string values of the JSON object with an optional "
                                   "separator",
                    .params = {"separator: string - put behind every value"},
                    .returns_class = "std.string"});
    tvr_add_method(m, {"from_string"}, parse, 1, 1,
                   {.description = "Parse JSON from string and populate object",
                    .params = {"json: string - JSON text"}});
    tvr_add_method(m, {"debug_refs"}, print_debug_refs, 0, 1,
                   {.description = "Convert JSON object to a debug string showing whether each "
                                   "element is a TVRVAR_REF and the variable refcount.",
                    .params = {"compact: int - on one line when it is not 0"},
                    .returns_class = "std.string"});
}
