// Methods of std.string that look for something in it.

#include "stdobj/arguments.h"
#include "stdobj/method.h"
#include "stdobj/string_methods.h"
#include "stdobj/string_text.h"

namespace {

// What a search for one text tells.
using text_search = int64_t (*)(std::string_view text, std::string_view wanted);

struct search_row {
    std::string_view name;
    text_search run;
    std::string param;
    std::string_view description;
};

void add_search(tvrobject_metadata& m, const search_row& row) {
    const std::string name(row.name), param = row.param.substr(0, row.param.find(':'));
    const auto call = [run = row.run, name, param](tvrobject_base* object, tvr_vm_context&,
                                                   tvr_native_args& args) {
        const auto wanted = tvr_arguments(name, args).text(0, param);
        if (!wanted) return tvrvar_shared();
        return tvrvar_shared(run(tvr_string_of(object).text, *wanted));
    };
    tvr_add_method(m, {row.name}, call, 1, 1,
                   {.description = std::string(row.description), .params = {row.param}});
}

// npos is -1.
int64_t place(size_t found) {
    return int64_t(found);
}
static_assert(int64_t(std::string_view::npos) == -1);

int64_t count(std::string_view text, std::string_view wanted) {
    return int64_t(tvr_count_text(text, wanted));
}
int64_t starts(std::string_view text, std::string_view wanted) {
    return text.starts_with(wanted);
}
int64_t ends(std::string_view text, std::string_view wanted) {
    return text.ends_with(wanted);
}
int64_t contains(std::string_view text, std::string_view wanted) {
    return tvr_find_text(text, wanted) != std::string_view::npos;
}
int64_t contains_loosely(std::string_view text, std::string_view wanted) {
    return tvr_contains_loosely(text, wanted);
}
int64_t find(std::string_view text, std::string_view wanted) {
    return place(tvr_find_text(text, wanted));
}
int64_t find_last(std::string_view text, std::string_view wanted) {
    return place(text.rfind(wanted));
}
int64_t first_of(std::string_view text, std::string_view chars) {
    return place(text.find_first_of(chars));
}
int64_t last_of(std::string_view text, std::string_view chars) {
    return place(text.find_last_of(chars));
}
int64_t first_not_of(std::string_view text, std::string_view chars) {
    return place(text.find_first_not_of(chars));
}
int64_t last_not_of(std::string_view text, std::string_view chars) {
    return place(text.find_last_not_of(chars));
}

void add_questions(tvrobject_metadata& m) {
    add_search(m, {"count", count, "str: string - Text to count",
                   "Check how often a string appears in this string"});
    add_search(m, {"starts", starts, "prefix: string - Text to look for",
                   "Check if string starts with specified prefix"});
    add_search(m, {"ends", ends, "suffix: string - Text to look for",
                   "Check if string ends with specified suffix"});
    add_search(m, {"contains", contains, "sub: string - Text to look for",
                   "Check if string contains substring"});
    add_search(m,
               {"contains_ignoring_whitespaces", contains_loosely, "sub: string - Text to look for",
                "Check if string contains substring, ignoring whitespace in both"});
}

}  // namespace

void tvr_register_string_searches(tvrobject_metadata& m) {
    const std::string chars = "chars: string - Set of characters";
    add_questions(m);
    add_search(m, {"find", find, "substring: string - Text to look for",
                   "Find the position of a substring within the string"});
    add_search(m, {"rfind", find_last, "substring: string - Text to look for",
                   "Find last occurrence of substring in string, searching backwards"});
    add_search(m, {"find_first_of", first_of, chars,
                   "Find the first character that is one of the given characters"});
    add_search(m, {"find_last_of", last_of, chars,
                   "Find the last character that is one of the given characters"});
    add_search(m, {"find_first_not_of", first_not_of, chars,
                   "Find the first character that is none of the given characters"});
    add_search(m, {"find_last_not_of", last_not_of, chars,
                   "Find the last character that is none of the given characters"});
}
