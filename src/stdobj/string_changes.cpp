// Methods of std.string that make another text of it.

#include <new>

#include "runtime/local/error_sink.h"
#include "runtime/payload/std_json.h"
#include "runtime/value/plain_value.h"
#include "stdobj/arguments.h"
#include "stdobj/method.h"
#include "stdobj/self_value.h"
#include "stdobj/string_methods.h"
#include "stdobj/string_text.h"

namespace {

constexpr const char* string_class = "std.string";

// The text that a call makes of `text`; nothing after a runtime error.
using text_change = std::optional<std::string> (*)(std::string_view text,
                                                   const tvr_arguments& given);

tvr_function_docs docs_of(std::string_view description, std::vector<std::string> params) {
    return {.description = std::string(description),
            .params = std::move(params),
            .returns_class = string_class};
}

struct change_row {
    std::string_view name;
    text_change run;
    uint32_t min_params, max_params;
    std::string_view description;
    std::vector<std::string> params = {};
};

// A method that returns a new string.
void add_new(tvrobject_metadata& m, const change_row& row) {
    const auto call = [run = row.run, name = std::string(row.name)](
                          tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
        auto made = run(tvr_string_of(object).text, tvr_arguments(name, args));
        return made ? tvr_string_value(std::move(*made)) : tvrvar_shared();
    };
    tvr_add_method(m, {row.name}, call, row.min_params, row.max_params,
                   docs_of(row.description, row.params));
}

// Its partner, which changes the string.
void add_inplace(tvrobject_metadata& m, const change_row& row) {
    const std::string name = std::string(row.name) + "_inplace";
    const auto call = [run = row.run, name](tvrobject_base* object, tvr_vm_context&,
                                            tvr_native_args& args) {
        tvr_std_string& self = tvr_string_of(object);
        auto made = run(self.text, tvr_arguments(name, args));
        if (!made) return tvrvar_shared();
        self.text = std::move(*made);
        return tvr_self_value(self);
    };
    tvr_add_changing_method(m, {name}, call, row.min_params, row.max_params,
                            docs_of(row.description, row.params));
}

void add_both(tvrobject_metadata& m, const change_row& row) {
    add_new(m, row);
    add_inplace(m, row);
}

using changed = std::optional<std::string>;

template <auto FUNCTION>
changed plainly(std::string_view text, const tvr_arguments&) {
    return std::string(FUNCTION(text));
}

changed substr(std::string_view text, const tvr_arguments& given) {
    const auto start = given.whole(0, "start");
    const auto count = given.count() > 1 ? given.whole(1, "count") : INT64_MAX;
    if (!start || !count) return {};
    return std::string(tvr_substr(text, *start, *count));
}

changed insert(std::string_view text, const tvr_arguments& given) {
    const auto index = given.whole(0, "index");
    if (!index) return {};
    return tvr_insert(text, *index, given.any_text(1));
}

changed replace_text(std::string_view text, const tvr_arguments& given) {
    const auto search = given.text(0, "search");
    if (!search) return {};
    return tvr_replace(text, *search, given.any_text(1));
}

// Each key by its value, one after the other.
changed replace_all_of(std::string_view text, tvr_std_json& map) {
    std::string made(text);
    for (size_t i = 0; i < map.size(); ++i) {
        if (!map.entries[i].has_key()) continue;
        made = tvr_replace(made, map.entries[i].name(), map.entries[i].value->string_value());
    }
    return made;
}

changed replace(std::string_view text, const tvr_arguments& given) {
    const tvrvar_shared search = given.value(0);
    if (auto* map = search->object<tvr_std_json>()) return replace_all_of(text, *map);
    if (given.count() < 2) {
        given.refuse(0, "search_or_map", "a json, and there is no replacement");
        return {};
    }
    return replace_text(text, given);
}

changed replace_loosely(std::string_view text, const tvr_arguments& given) {
    const auto search = given.text(0, "search");
    if (!search) return {};
    return tvr_replace_loosely(text, *search, given.any_text(1));
}

changed replace_first(std::string_view text, const tvr_arguments& given) {
    const auto search = given.text(0, "search");
    if (!search) return {};
    return tvr_replace_first(text, *search, given.any_text(1));
}

enum class side { left, right, both };

template <side MISSING>
changed pad(std::string_view text, const tvr_arguments& given) {
    const auto width = given.whole(0, "width");
    const auto fill = given.count() > 1 ? given.text(1, "fill") : " ";
    if (!width || !fill) return {};
    if (*width <= int64_t(text.size())) return std::string(text);
    if (uint64_t(*width) > std::string().max_size()) throw std::bad_alloc();
    const size_t missing = size_t(*width) - text.size();
    const size_t in_front = MISSING == side::left   ? missing
                            : MISSING == side::both ? missing / 2
                                                    : 0;
    return tvr_pad(text, in_front, missing - in_front, fill->empty() ? ' ' : fill->front());
}

changed remove_prefix(std::string_view text, const tvr_arguments& given) {
    const auto prefix = given.text(0, "prefix");
    if (!prefix) return {};
    return std::string(text.substr(text.starts_with(*prefix) ? prefix->size() : 0));
}

changed remove_suffix(std::string_view text, const tvr_arguments& given) {
    const auto suffix = given.text(0, "suffix");
    if (!suffix) return {};
    return std::string(
        text.substr(0, text.size() - (text.ends_with(*suffix) ? suffix->size() : 0)));
}

template <bool EXCEPT>
changed remove_chars(std::string_view text, const tvr_arguments& given) {
    const auto chars = given.text(0, "chars");
    if (!chars) return {};
    return tvr_remove_chars(text, *chars, EXCEPT);
}

void add_spaces(tvrobject_metadata& m) {
    const std::string_view both_ends = "Remove leading and trailing whitespace";
    add_both(m, {"trim", plainly<tvr_trim>, 0, 0, both_ends});
    add_both(m, {"strip", plainly<tvr_trim>, 0, 0, both_ends});
    add_both(m, {"ltrim", plainly<tvr_trim_left>, 0, 0, "Remove leading whitespace"});
    add_both(m, {"rtrim", plainly<tvr_trim_right>, 0, 0, "Remove trailing whitespace"});
    add_new(m, {"rstrip_lines", plainly<tvr_trim_lines>, 0, 0,
                "Remove trailing whitespace from each line while preserving newlines"});
    add_both(m, {"compress_whitespace", plainly<tvr_compress_whitespace>, 0, 0,
                 "Compress consecutive whitespace characters to a single space"});
}

void add_replacements(tvrobject_metadata& m) {
    add_new(m,
            {"replace",
             replace,
             1,
             2,
             "Replace all occurrences of a substring or apply a json map of replacements",
             {"search_or_map: string - Text to search for, or a json of searches and replacements",
              "replace: string - Text to put in its place"}});
    add_inplace(m, {"replace",
                    replace,
                    1,
                    2,
                    "Replace all occurrences of a substring within the string in-place",
                    {"search: string - Text to search for, or a json of searches and replacements",
                     "replace: string - Text to put in its place"}});
    const std::vector<std::string> params = {"search: string - Text to search for",
                                             "replace: string - Text to put in its place"};
    add_new(m, {"replace_ignoring_whitespace", replace_loosely, 2, 2,
                "Replace all occurrences of a substring, ignoring whitespace", params});
    add_new(m, {"replace_first", replace_first, 2, 2,
                "Replaces the first occurrence of a substring with another substring", params});
}

void add_pads(tvrobject_metadata& m) {
    const std::vector<std::string> params = {"width: int - Bytes that the result has at least",
                                             "fill: string - Fill character, a space by default"};
    add_new(m, {"ljust", pad<side::right>, 1, 2,
                "Left-justify the string by padding it with the specified fill character to reach "
                "the given width",
                params});
    add_new(m, {"rjust", pad<side::left>, 1, 2,
                "Right-justify the string by padding it with the specified fill character to reach "
                "the given width",
                params});
    add_new(m, {"center", pad<side::both>, 1, 2,
                "Center the string by padding it with the specified fill character to reach the "
                "given width",
                params});
}

void add_removals(tvrobject_metadata& m) {
    add_new(m, {"removeprefix",
                remove_prefix,
                1,
                1,
                "Remove a prefix from the string if it starts with that prefix",
                {"prefix: string - Text to remove"}});
    add_new(m, {"removesuffix",
                remove_suffix,
                1,
                1,
                "Remove a suffix from the string if it ends with that suffix",
                {"suffix: string - Text to remove"}});
    add_new(m, {"removechars",
                remove_chars<false>,
                1,
                1,
                "Remove all occurrences of specified characters from the string",
                {"chars: string - Characters to remove"}});
    add_new(m, {"removecharsexcept",
                remove_chars<true>,
                1,
                1,
                "Remove all characters except the specified ones from the string",
                {"chars: string - Characters to keep"}});
}

}  // namespace

void tvr_register_string_changes(tvrobject_metadata& m) {
    add_both(m, {"lowercase", plainly<tvr_lowercase>, 0, 0, "Convert string to lowercase"});
    add_both(m, {"uppercase", plainly<tvr_uppercase>, 0, 0, "Convert string to uppercase"});
    add_both(m, {"reverse", plainly<tvr_reverse>, 0, 0, "Return a reversed copy of the string"});
    add_both(m, {"substr",
                 substr,
                 1,
                 2,
                 "Extracts a substring from the original string with support for Python-style "
                 "negative indices",
                 {"start: int - First byte, from the end when negative",
                  "count: int - Number of bytes; a negative one ends that far before the end"}});
    add_new(m, {"insert",
                insert,
                2,
                2,
                "Insert text into the string",
                {"index: int - Place of the text, from the end when negative",
                 "text: string - Text to insert"}});
    add_spaces(m);
    add_replacements(m);
    add_pads(m);
    add_removals(m);
}
