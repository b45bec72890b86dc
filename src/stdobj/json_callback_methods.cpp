// std.json: methods that call back for every entry.

#include "frontend/program/program_block.h"
#include "runtime/local/error_sink.h"
#include "runtime/value/records.h"
#include "stdobj/json_iteration.h"
#include "stdobj/json_methods.h"
#include "stdobj/method.h"

namespace {

using iteration = tvr_json_iteration;

tvrvar_shared new_json() {
    tvrvar_shared made = tvrvar_shared::make();
    made->as_json(true);
    return made;
}

bool is_true(tvrvar& result) {
    return !result.compare_zero();
}

// An entry with the key that a callback was given.
void add_entry(tvrvar& to, tvrvar& key, tvrvar& value) {
    const tvrvar_shared member = to.as_json(false).create_member(key.string_view());
    member->set(value);
}

tvrvar_shared nothing() {
    return {};
}

tvrvar_shared foreach (tvrobject_base* object, tvr_vm_context & frame, tvr_native_args & args) {
    if (!iteration::is_callback(*args[0])) {
        runtime_error("foreach requires a callback function argument.");
        return {};
    }
    if (args[0]->type == tvrvar_type_function && !args[0]->function->routine) {
        runtime_error("Callback is not a function!");
        return {};
    }
    const bool with_key = iteration::count_parameters(*args[0]) >= 2;
    const auto value_args = [](tvr_native_args& given, tvr_std_json& json, size_t index) {
        given.resize(1);
        given[0] = json.entries[index].value;
    };
    return iteration::start(tvr_json_self(object), frame, *args[0],
                            {.fill = with_key ? iteration::key_value_args : +value_args,
                             .take = [](const tvr_native_args&, tvrvar&) { return true; },
                             .end = nothing});
}

tvrvar_shared map(tvrobject_base* object, tvr_vm_context& frame, tvr_native_args& args) {
    tvrvar_shared made = new_json();
    if (!iteration::is_callback(*args[0])) {
        runtime_warning("map expects a function");
        return made;
    }
    const auto take = [made](const tvr_native_args& given, tvrvar& result) {
        add_entry(*made, *given[0], result);
        return true;
    };
    return iteration::start(
        tvr_json_self(object), frame, *args[0],
        {.fill = iteration::key_value_args, .take = take, .end = [made] { return made; }});
}

tvrvar_shared filter(tvrobject_base* object, tvr_vm_context& frame, tvr_native_args& args) {
    tvr_std_json& self = tvr_json_self(object);
    if (!iteration::is_callback(*args[0])) return tvr_filter_keys(self, tvr_text_filter(*args[0]));
    tvrvar_shared made = new_json();
    const auto take = [made](const tvr_native_args& given, tvrvar& result) {
        if (is_true(result)) add_entry(*made, *given[0], *given[1]);
        return true;
    };
    return iteration::start(
        self, frame, *args[0],
        {.fill = iteration::key_value_args, .take = take, .end = [made] { return made; }});
}

tvrvar_shared reduce(tvrobject_base* object, tvr_vm_context& frame, tvr_native_args& args) {
    if (!iteration::is_callback(*args[0])) {
        runtime_warning("reduce expects a callback");
        return {};
    }
    tvrvar_shared sum = tvrvar_shared::make();
    if (args.size() > 1) sum->set(args[1]);
    const auto fill = [sum](tvr_native_args& given, tvr_std_json& json, size_t index) {
        if (given.size() == 3) given.erase(given.begin());
        iteration::key_value_args(given, json, index);
        given.insert(given.begin(), sum);
    };
    const auto take = [sum](const tvr_native_args&, tvrvar& result) {
        sum->set(result);
        return true;
    };
    return iteration::start(tvr_json_self(object), frame, *args[0],
                            {.fill = fill, .take = take, .end = [sum] { return sum; }});
}

// Whether a callback says `decisive` of one entry, which ends the matter; else the opposite.
tvrvar_shared ask_until(bool decisive, tvr_std_json& self, tvr_vm_context& frame,
                        tvrvar& callback) {
    tvrvar_shared answer = !decisive;
    const auto take = [answer, decisive](const tvr_native_args&, tvrvar& result) {
        if (is_true(result) != decisive) return true;
        answer->as_int(decisive ? 1 : 0);
        return false;
    };
    return iteration::start(
        self, frame, callback,
        {.fill = iteration::key_value_args, .take = take, .end = [answer] { return answer; }});
}

bool key_matches(const tvr_std_json::entry& e, std::string_view part) {
    return e.has_key() && e.name().find(part) != std::string_view::npos;
}

tvrvar_shared ask_keys(bool decisive, const tvr_std_json& self, std::string_view part) {
    for (const auto& e : self.entries) {
        if (key_matches(e, part) == decisive) return decisive;
    }
    return !decisive;
}

tvrvar_shared any(tvrobject_base* object, tvr_vm_context& frame, tvr_native_args& args) {
    tvr_std_json& self = tvr_json_self(object);
    if (iteration::is_callback(*args[0])) return ask_until(true, self, frame, *args[0]);
    if (args[0]->type == tvrvar_type_string) return ask_keys(true, self, args[0]->string_view());
    runtime_warning("any expects string or function");
    return false;
}

tvrvar_shared all(tvrobject_base* object, tvr_vm_context& frame, tvr_native_args& args) {
    tvr_std_json& self = tvr_json_self(object);
    if (iteration::is_callback(*args[0])) return ask_until(false, self, frame, *args[0]);
    if (args[0]->type == tvrvar_type_string) return ask_keys(false, self, args[0]->string_view());
    runtime_warning("all expects string or function");
    return false;
}

void add_making(tvrobject_metadata& m) {
    tvr_add_method(m, {"map"}, map, 1, 1,
                   {.description = "Return a new JSON where each value is replaced by the result "
                                   "of the callback.",
                    .params = {"callback: function - called with (key, value)"},
                    .returns_class = "std.json"});
    tvr_add_method(m, {"filter"}, filter, 1, 1,
                   {.description = "Filter JSON object entries by callback or key substring",
                    .params = {"filter: function - called with (key, value); or what filter_key "
                               "takes"},
                    .returns_class = "std.json"});
    tvr_add_method(m, {"reduce"}, reduce, 1, 2,
                   {.description = "Reduce object entries into a single value by repeatedly "
                                   "applying callback(acc, key, value).",
                    .params = {"callback: function - called with (acc, key, value)",
                               "initial: any - the first acc; None if left out"}});
}

}  // namespace

void tvr_add_json_callback_methods(tvrobject_metadata& m) {
    const char* question = "filter: function - called with (key, value); or a part of a key";
    add_making(m);
    tvr_add_method(m, {"any"}, any, 1, 1,
                   {.description = "Returns true if any entry matches substring or callback.",
                    .params = {question}});
    tvr_add_method(m, {"all"}, all, 1, 1,
                   {.description = "Returns true if all entries match substring or callback.",
                    .params = {question}});
    tvr_add_method(m, {"foreach"}, foreach, 1, 1,
                   {.description = "Iterates over each key/value pair in a JSON object and runs a "
                                   "callback for each entry",
                    .params = {"callback: function - called with (key, value) when it has two "
                               "parameters, else with (value)"}});
}
