#include "kernel/script/kernel_extract.h"

#include <algorithm>

#include "base/join.h"
#include "frontend/source/token_view.h"
#include "frontend/syntax/string_escape.h"
#include "kernel/script/compile_cache.h"

namespace {

// A path as it can stand between the quotes of a #line directive.
std::string path_of(const tvr_declaration& declaration) {
    std::string path = declaration.start.view()->path;
    std::replace_if(
        path.begin(), path.end(), [](char c) { return c == '"' || uint8_t(c) < 0x20; }, '?');
    return path;
}

std::string text_of(const std::vector<tvr_declaration>& declarations) {
    std::string text;
    for (const tvr_declaration& each : declarations) {
        text += tvr_join("#line ", each.start.line, " \"", path_of(each), "\"\n");
        text.append(each.start.column - 1, ' ');
        text += tvr_join(each.text, '\n');
    }
    return text;
}

bool has_name_in_scripts(const tvr_declaration& declaration) {
    return declaration.form != tvr_declaration_form::inlined;
}

}  // namespace

void tvr_kernel_extract::take(const std::vector<tvr_declaration>& declarations,
                              std::vector<tvr_declared_statement>& statements, std::string& error,
                              const tvr_src_token*& place) {
    for (const tvr_declaration& each : declarations) {
        if (!has_name_in_scripts(each) || !tvr_is_reserved_word(each.name.code)) continue;
        error = tvr_join("Kernel error: '", each.name.text(), "' is a reserved word");
        place = &each.name;
        return;
    }
    const std::string text = text_of(declarations);
    const std::string file = path_of(declarations.front());
    tvrk_compile_error wrong;
    unit = tvr_kernel_compile_cached(text, file, {}, wrong);
    if (unit == nullptr) {
        error = tvr_kernel_error_text(wrong);
        place = find_place(declarations, wrong);
        return;
    }
    statements.push_back(
        {tvr_join(tvr_kernel_unit_name, " = std.kernel_compile(\"", tvr_escape_string(text),
                  "\", \"", tvr_escape_string(file), "\");"),
         &declarations.front().start});
    for (const tvr_declaration& each : declarations) {
        if (!has_name_in_scripts(each)) continue;
        const std::string_view name = each.name.text();
        statements.push_back(
            {tvr_join(name, " = ", tvr_kernel_unit_name, ".get(\"", name, "\");"), &each.start});
    }
}

const tvr_src_token* tvr_kernel_extract::find_place(
    const std::vector<tvr_declaration>& declarations, const tvrk_compile_error& wrong) {
    for (const tvr_declaration& each : declarations) {
        const auto last =
            each.start.line + uint32_t(std::count(each.text.begin(), each.text.end(), '\n'));
        const bool behind = wrong.line == each.start.line ? wrong.column >= each.start.column
                                                          : wrong.line > each.start.line;
        if (path_of(each) != wrong.file || !behind || wrong.line > last) continue;
        found_place = each.start;
        found_place.line = wrong.line;
        found_place.column = wrong.column;
        return &found_place;
    }
    return nullptr;
}
