// Methods of std.string that take parts out of it.

#include "stdobj/arguments.h"
#include "stdobj/method.h"
#include "stdobj/string_methods.h"
#include "stdobj/string_text.h"

namespace {

constexpr size_t all = SIZE_MAX;

tvrvar_shared split(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("split", args);
    const auto delimiter = given.text(0, "delim");
    const bool strips = given.count() > 1 && !given.value(1)->compare_zero();
    const auto most = given.count() > 2 ? given.whole(2, "max_parts") : -1;
    if (!delimiter || !most) return {};
    tvr_text_parts parts = tvr_split(tvr_string_of(object).text, *delimiter, *most);
    if (strips) {
        for (std::string_view& part : parts) part = tvr_trim(part);
    }
    return tvr_string_list(parts);
}

tvrvar_shared split_words(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    return tvr_string_list(tvr_split_words(tvr_string_of(object).text));
}

tvrvar_shared smart_split(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const auto delimiter = tvr_arguments("smart_split", args).text(0, "delim");
    if (!delimiter) return {};
    return tvr_string_list(tvr_smart_split(tvr_string_of(object).text, *delimiter));
}

tvrvar_shared first_or_empty(const tvr_text_parts& parts) {
    return parts.empty() ? std::string_view() : parts[0];
}

tvrvar_shared extract(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("extract", args);
    const auto left = given.text(0, "left");
    const auto right = left ? given.text(1, "right") : std::nullopt;
    if (!right) return {};
    return first_or_empty(tvr_extract(tvr_string_of(object).text, *left, *right, 1));
}

tvrvar_shared extract_all(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("extract_all", args);
    const auto left = given.text(0, "left");
    const auto right = left ? given.text(1, "right") : std::nullopt;
    if (!right) return {};
    return tvr_string_list(tvr_extract(tvr_string_of(object).text, *left, *right, all));
}

tvrvar_shared extract_quotes(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    return first_or_empty(tvr_extract(tvr_string_of(object).text, "\"", "\"", 1));
}

void add_splits(tvrobject_metadata& m) {
    constexpr const char* list_class = "std.json";
    tvr_add_method(
        m, {"split"}, split, 1, 3,
        {.description = "Split string into parts using specified delimiter",
         .params = {"delim: string - Text between the parts; empty for single characters",
                    "strip: bool - Remove whitespace around each part (false is the default)",
                    "max_parts: int - Maximum number of resulting strings (-1 is the default, "
                    "disables this)"},
         .returns_class = list_class});
    tvr_add_method(m, {"split_words"}, split_words, 0, 0,
                   {.description = "Split string into words based on whitespace, automatically "
                                   "handling multiple spaces",
                    .returns_class = list_class});
    tvr_add_method(m, {"smart_split"}, smart_split, 1, 1,
                   {.description = "Smart split string into parts using a delimiter while ignoring "
                                   "delimiters inside strings, comments, and brackets",
                    .params = {"delim: string - Text between the parts"},
                    .returns_class = list_class});
}

}  // namespace

void tvr_register_string_parts(tvrobject_metadata& m) {
    const std::vector<std::string> between = {"left: string - Text in front",
                                              "right: string - Text behind"};
    add_splits(m);
    tvr_add_method(m, {"extract"}, extract, 2, 2,
                   {.description = "Extract substring between specified left and right delimiters",
                    .params = between,
                    .returns_class = "std.string"});
    tvr_add_method(
        m, {"extract_all"}, extract_all, 2, 2,
        {.description = "Extract all substrings between specified left and right delimiters",
         .params = between,
         .returns_class = "std.json"});
    tvr_add_method(m, {"extract_quotes"}, extract_quotes, 0, 0,
                   {.description = "Extract substring between the first pair of double quotes in "
                                   "the string",
                    .returns_class = "std.string"});
}
