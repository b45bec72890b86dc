// Methods of std.string that take regular expressions.

#include <iterator>

#include "stdobj/arguments.h"
#include "stdobj/method.h"
#include "stdobj/regex_matcher.h"
#include "stdobj/self_value.h"
#include "stdobj/string_methods.h"
#include "stdobj/string_text.h"

namespace {

using place = tvr_text_place;
using matches = std::regex_iterator<place>;

tvrvar_shared match(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const auto pattern = tvr_arguments("regex_match", args).text(0, "pattern");
    const std::string& text = tvr_string_of(object).text;
    bool found = false;
    const auto look = [&](const std::regex& regex, place begin, place end) {
        found = std::regex_match(begin, end, regex);
    };
    if (!pattern || !tvr_run_regex("regex_match", *pattern, text, look)) return {};
    return found;
}

tvrvar_shared search(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const auto pattern = tvr_arguments("regex_search", args).text(0, "pattern");
    const std::string& text = tvr_string_of(object).text;
    int64_t position = -1;
    const auto look = [&](const std::regex& regex, place begin, place end) {
        std::match_results<place> found;
        if (std::regex_search(begin, end, found, regex)) position = found.position();
    };
    if (!pattern || !tvr_run_regex("regex_search", *pattern, text, look)) return {};
    return position;
}

tvrvar_shared find_all(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const auto pattern = tvr_arguments("regex_findall", args).text(0, "pattern");
    const std::string& text = tvr_string_of(object).text;
    tvr_text_parts found;
    const auto look = [&](const std::regex& regex, place begin, place end) {
        for (matches each(begin, end, regex); each != matches(); ++each)
            found.push_back(tvr_text_between((*each)[0].first, (*each)[0].second));
    };
    if (!pattern || !tvr_run_regex("regex_findall", *pattern, text, look)) return {};
    return tvr_string_list(found);
}

// What stands between the matches, also where that is nothing.
tvrvar_shared split(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const auto pattern = tvr_arguments("regex_split", args).text(0, "pattern");
    const std::string& text = tvr_string_of(object).text;
    tvr_text_parts parts;
    const auto look = [&](const std::regex& regex, place begin, place end) {
        place behind = begin;
        for (matches each(begin, end, regex); each != matches(); ++each) {
            parts.push_back(tvr_text_between(behind, (*each)[0].first));
            behind = (*each)[0].second;
        }
        parts.push_back(tvr_text_between(behind, end));
    };
    if (!pattern || !tvr_run_regex("regex_split", *pattern, text, look)) return {};
    return tvr_string_list(parts);
}

// False after a runtime error.
bool replace_matches(std::string_view method, const std::string& text, const tvr_native_args& args,
                     std::string& made) {
    const tvr_arguments given(method, args);
    const auto pattern = given.text(0, "pat");
    if (!pattern) return false;
    const std::string replacement = given.any_text(1);
    const auto look = [&](const std::regex& regex, place begin, place end) {
        std::regex_replace(std::back_inserter(made), begin, end, regex, replacement);
    };
    return tvr_run_regex(method, *pattern, text, look);
}

tvrvar_shared replace(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    std::string made;
    if (!replace_matches("regex_replace", tvr_string_of(object).text, args, made)) return {};
    return tvr_string_value(std::move(made));
}

tvrvar_shared replace_inplace(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    tvr_std_string& self = tvr_string_of(object);
    std::string made;
    if (!replace_matches("regex_replace_inplace", self.text, args, made)) return {};
    self.text = std::move(made);
    return tvr_self_value(self);
}

tvrvar_shared escape(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    return tvr_string_value(tvr_escape_pattern(tvr_string_of(object).text));
}

tvr_function_docs docs_of(std::string description, std::vector<std::string> params,
                          std::string returns = {}) {
    return {.description = std::move(description) +
                           " Input longer than the limit for the pattern (8 KB - 256 KB, see the "
                           "docs) is rejected with a runtime error (issue #102)",
            .params = std::move(params),
            .returns_class = std::move(returns)};
}

}  // namespace

void tvr_register_string_patterns(tvrobject_metadata& m) {
    const std::vector<std::string> pattern = {"pattern: string - Regular expression"};
    const std::vector<std::string> both = {
        "pat: string - Regular expression",
        "replacement: string - Text with $& for the match and $1, $2 ... for its groups"};
    tvr_add_method(m, {"regex_match"}, match, 1, 1,
                   docs_of("Check if the whole string matches a regular expression.", pattern));
    tvr_add_method(m, {"regex_search"}, search, 1, 1,
                   docs_of("Find the start of the first match of a regular expression.", pattern));
    tvr_add_method(m, {"regex_findall"}, find_all, 1, 1,
                   docs_of("Find all matches of a regular expression.", pattern, "std.json"));
    tvr_add_method(m, {"regex_replace"}, replace, 2, 2,
                   docs_of("Replace all matches of a regular expression.", both, "std.string"));
    tvr_add_changing_method(
        m, {"regex_replace_inplace"}, replace_inplace, 2, 2,
        docs_of("Replace all matches of a regular expression in-place.", both, "std.string"));
    tvr_add_method(m, {"regex_split"}, split, 1, 1,
                   docs_of("Split string using regular expression pattern and return results as "
                           "JSON array.",
                           pattern, "std.json"));
    tvr_add_method(
        m, {"regex_escape"}, escape, 0, 0,
        {.description = "Escape regex metacharacters in string", .returns_class = "std.string"});
}
