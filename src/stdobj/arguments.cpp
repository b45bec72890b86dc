#include "stdobj/arguments.h"

#include <cmath>

#include "base/join.h"
#include "runtime/local/error_sink.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_json_bool.h"
#include "runtime/value/number_text.h"
#include "runtime/value/plain_value.h"

namespace {

constexpr size_t most_shown = 40;  // bytes of a text in a message

std::string shorten(std::string_view text) {
    if (text.size() <= most_shown) return std::string(text);
    size_t end = most_shown;
    while (end > 0 && (uint8_t(text[end]) & 0xC0) == 0x80) --end;  // not inside of a character
    return std::string(text.substr(0, end)) + "...";
}

// Floats beyond it have lost their fraction long before, and their neighbours are no ints.
constexpr double whole_limit = 9223372036854775808.0;  // 2^63

}  // namespace

std::string tvr_describe_value(tvrvar& variable) {
    const tvr_plain_value value(variable);
    switch (value->type) {
    case tvrvar_type_none: return "None";
    case tvrvar_type_int: return tvr_join(value->integer, " (int)");
    case tvrvar_type_float: return tvr_join(value->real, " (float)");
    case tvrvar_type_string: return tvr_join('"', shorten(value->string_view()), "\" (string)");
    case tvrvar_type_json: return tvr_join("a json of ", value->size(), " entries");
    case tvrvar_type_binary: return tvr_join("a buffer of ", value->size(), " bytes");
    case tvrvar_type_class: return tvr_join("an instance of ", value->string_value());
    case tvrvar_type_class_def: return "a class";
    case tvrvar_type_object:
        if (const tvrobject_base* object = value->object_ptr()) {
            return tvr_join("an object of ", object->script_type_name());
        }
        return "an object that is gone";
    default: return "a function";
    }
}

tvrvar_shared tvr_arguments::value(size_t at) const {
    return at < args.size() ? args[at]->deref() : tvrvar_shared::make();
}

tvrvar_shared tvr_arguments::copy(size_t at) const {
    tvrvar_shared made = tvrvar_shared::make();
    if (at < args.size()) made->set(*args[at]);
    return made;
}

std::optional<double> tvr_arguments::number(size_t at, std::string_view name) const {
    if (at < args.size()) {
        const tvr_plain_value given(*args[at]);
        if (given->type == tvrvar_type_float) return given->real;
        if (given->type == tvrvar_type_int) return double(given->integer);
        if (auto* truth = given->object<tvr_std_json_bool>()) return truth->truth() ? 1.0 : 0.0;
    }
    refuse(at, name, "a number");
    return {};
}

std::optional<int64_t> tvr_arguments::whole(size_t at, std::string_view name) const {
    if (at < args.size()) {
        const tvr_plain_value given(*args[at]);
        if (given->type == tvrvar_type_int) return given->integer;
        if (given->type == tvrvar_type_float && std::trunc(given->real) == given->real &&
            std::fabs(given->real) < whole_limit) {
            return int64_t(given->real);
        }
        if (auto* truth = given->object<tvr_std_json_bool>()) return truth->truth() ? 1 : 0;
    }
    refuse(at, name, "a whole number");
    return {};
}

std::optional<std::string> tvr_arguments::text(size_t at, std::string_view name) const {
    if (at < args.size()) {
        const tvr_plain_value given(*args[at]);
        if (given->type == tvrvar_type_string) return std::string(given->string_view());
    }
    refuse(at, name, "a string");
    return {};
}

tvrptr_strong<tvr_std_json> tvr_arguments::json(size_t at, std::string_view name) const {
    tvrptr_strong<tvr_std_json> found(value(at)->object<tvr_std_json>());
    if (!found) refuse(at, name, "a json");
    return found;
}

void tvr_arguments::refuse(size_t at, std::string_view name, std::string_view expected) const {
    runtime_error(function, ": ", name, " is ", tvr_describe_value(*value(at)), ", not ", expected,
                  '.');
}
