#include "frontend/syntax/declarations.h"

#include <array>

#include "frontend/syntax/bracket.h"

namespace {

using code = tvr_token_code;
using position = const tvr_src_token*;

position next_of(position at) {
    do ++at;
    while (at->is(code::line_end));
    return at;
}

bool is_structure_word(position at) {
    return at->is(code::word_struct) || at->is(code::word_cstruct);
}

// Three words in a row, as no statement of the script language begins, or two with a `*` between.
bool begins_declaration(position kernel) {
    const position form = next_of(kernel);
    if (!tvr_is_name(form->code)) return false;
    if (is_structure_word(form)) return true;
    const position third = next_of(form);
    return tvr_is_name(third->code) || (third->is(code::star) && tvr_is_name(next_of(third)->code));
}

enum class standing { top, below, none };  // where a statement may begin: nowhere is `none`

class cutter {
public:
    cutter(tvr_src_token_view& of, tvr_syntax_report& to) : view(of), report(to) {}

    bool run() {
        out.reserve(view.tokens.size());
        for (position at = view.tokens.data(); at != nullptr;) {
            if (at->is(code::end_of_file)) {
                out.push_back(*at);
                view.tokens = std::move(out);
                return true;
            }
            at = take(at);
        }
        return false;
    }

private:
    // Moves one token to the output, a line with a directive, or cuts a declaration out.
    position take(position at) {
        if (at->is(code::hash)) return take_directive(at);
        const standing where = where_stands();
        if (where != standing::none && at->is(code::word_kernel) && begins_declaration(at)) {
            if (where == standing::top) return cut(at);
            tvr_refuse_nested_declaration(*at, report);
            return nullptr;
        }
        if (tvr_is_open_bracket(at->code)) ++depth;
        if (tvr_is_close_bracket(at->code) && depth > 0) --depth;
        if (!at->is(code::line_end)) before = at;
        out.push_back(*at);
        return at + 1;
    }

    position take_directive(position at) {
        while (!at->is(code::line_end) && !at->is(code::end_of_file)) {
            const bool continued = at->is(code::backslash) && at[1].is(code::line_end);
            out.push_back(*at++);
            if (continued) out.push_back(*at++);
        }
        before = nullptr;
        return at;
    }

    standing where_stands() const {
        if (before == nullptr) return depth == 0 ? standing::top : standing::below;
        switch (before->code) {
        case code::semicolon:
        case code::curly_close: return depth == 0 ? standing::top : standing::below;
        case code::curly_open:
        case code::round_close:
        case code::word_else:
        case code::word_try: return standing::below;
        default: return standing::none;
        }
    }

    position cut(position kernel) {
        tvr_declaration found;
        found.start = *kernel;
        const position last = find_end(kernel, found);
        if (last == nullptr) return nullptr;
        for (position at = kernel; at <= last; ++at)
            if (at->is(code::hash))
                return fail(at, "a kernel declaration cannot span several files");
        found.text = {kernel->begin, size_t(last->begin + last->length - kernel->begin)};
        tvr_src_token& place = out.emplace_back(*kernel);
        place.code = code::line_end;
        place.set_text(found.text);
        before = nullptr;
        view.declarations.push_back(found);
        return last + 1;
    }

    // The last token of a declaration; fills in its form and name.
    position find_end(position kernel, tvr_declaration& found) {
        previous_word = {};
        const position form = next_of(kernel);
        if (is_structure_word(form)) return find_structure_end(form, found);
        if (form->is(code::word_const)) return find_constant_end(form, found);
        const bool inlined = form->is(code::word_inline);
        found.form = inlined ? tvr_declaration_form::inlined : tvr_declaration_form::entry;
        position at = next_of(inlined ? form : kernel);
        for (; !at->is(code::curly_open); at = next_of(at)) {
            if (at->is(code::round_open) && found.name.length == 0) found.name = previous_word;
            if (tvr_is_name(at->code)) previous_word = *at;
            if (at->is(code::end_of_file) || at->is(code::semicolon) || at->is(code::curly_close))
                return fail(kernel, "kernel declaration without a body ('{ ... }')");
        }
        return find_body_end(kernel, at);
    }

    position find_structure_end(position form, tvr_declaration& found) {
        found.form = tvr_declaration_form::structure;
        const position name = next_of(form);
        if (tvr_is_name(name->code)) found.name = *name;
        const position brace = tvr_is_name(name->code) ? next_of(name) : name;
        if (!brace->is(code::curly_open)) return fail(brace, "expected '{' after the struct name");
        return find_body_end(form, brace);
    }

    position find_constant_end(position form, tvr_declaration& found) {
        found.form = tvr_declaration_form::constant;
        for (position at = next_of(form);; at = next_of(at)) {
            if (at->is(code::assign) && found.name.length == 0) found.name = previous_word;
            if (tvr_is_name(at->code)) previous_word = *at;
            if (at->is(code::semicolon)) return at;
            if (at->is(code::end_of_file) || at->is(code::curly_open))
                return fail(form, "missing ';' at the end of the kernel constant");
        }
    }

    position find_body_end(position start, position brace) {
        const position last = find_bracket_end(brace);
        return last != nullptr ? last
                               : fail(start, "missing '}' at the end of the kernel declaration");
    }

    position fail(position where, std::string_view message) {
        report.syntax_error(where, "Kernel error: ", message);
        return nullptr;
    }

    tvr_src_token_view& view;
    tvr_syntax_report& report;
    tvr_large_vector<tvr_src_token> out;
    position before = nullptr;  // the last token but line ends; null where a statement begins
    uint32_t depth = 0;
    tvr_src_token previous_word;
};

}  // namespace

bool tvr_refuse_nested_declaration(const tvr_src_token& place, tvr_syntax_report& report) {
    report.syntax_error(&place,
                        "Kernel error: kernel declarations are only allowed at the top level of a "
                        "file (not inside functions, classes or blocks)");
    return false;
}

bool tvr_cut_declarations(tvr_src_token_view& view, tvr_syntax_report& report) {
    return !view.has_kernel_words || cutter(view, report).run();
}
