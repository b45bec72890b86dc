#include "frontend/program/disassembly.h"

#include <iomanip>
#include <map>
#include <sstream>

#include "base/join.h"
#include "base/utf8.h"
#include "frontend/program/instruction.h"
#include "frontend/program/program_block.h"
#include "frontend/source/source_excerpt.h"
#include "frontend/source/token_view.h"
#include "runtime/object/function_def.h"

namespace {

constexpr size_t offset_columns = 8, comment_column = 44, longest_text = 60;
constexpr auto no_default = tvr_program_block_routine::no_defaults;

using block = tvr_program_block_routine;

bool is_jump(uint8_t opcode) {
    return opcode == tvr_op_jmp || opcode == tvr_op_jmp_if_false || opcode == tvr_op_jmp_if_true;
}

// The source line of a token, without the blanks in front; empty when it stands in no source.
std::string_view line_of(const tvr_src_token& token) {
    if (token.view() == nullptr) return {};
    const std::string& source = token.view()->source;
    const char *begin = source.data(), *end = begin + source.size();
    if (std::less<>()(token.begin, begin) || std::less<>()(end, token.begin)) return {};
    const char *first = token.begin, *last = token.begin;
    while (first != begin && first[-1] != '\n') --first;
    while (last != end && *last != '\n' && *last != '\r') ++last;
    while (first != last && (*first == ' ' || *first == '\t')) ++first;
    return {first, size_t(last - first)};
}

// A text as one line in quotes, cut when it is long.
std::string quoted_text(std::string_view text) {
    std::string out = "\"";
    const std::string_view shown = tvr_cut_utf8(text, longest_text);
    for (const char c : shown) {
        const bool plain = uint8_t(c) >= 0x20 && c != 0x7F && c != '"' && c != '\\';
        out += c == '\n' ? std::string("\\n") : plain ? std::string(1, c) : std::string("?");
    }
    return out + (text.size() > shown.size() ? "...\"" : "\"");
}

std::string_view kind_of(const block& of) {
    if (dynamic_cast<const tvr_program_block_class*>(&of) != nullptr) return "class";
    switch (of.kind) {
    case tvr_block_kind::function: return "function";
    case tvr_block_kind::loop: return "loop";
    case tvr_block_kind::scoped: return of.is_try ? "try" : "scoped";
    case tvr_block_kind::root: return "root";
    }
    return "block";
}

const block* above(const block* from, uint32_t levels) {
    for (; levels > 0 && from != nullptr; --levels)
        from = static_cast<const block*>(from->parent.get());
    return from;
}

std::string variable_name(const block* of, uint32_t index) {
    return of != nullptr && index < of->variables.size() ? of->variables.name_at(index) : "?";
}

std::string static_name(const block* of, uint32_t index) {
    return of != nullptr && index < of->static_names.size() ? of->static_names.name_at(index) : "?";
}

class disassembler {
public:
    explicit disassembler(const tvr_program_block_root& of) : root(of) {}

    std::string run() {
        // Blocks wait on a stack of their own, since they nest deeply.
        std::vector<const block*> waiting{&root};
        while (!waiting.empty()) {
            const block& next = *waiting.back();
            waiting.pop_back();
            print(next);
            if (next.catch_block) waiting.push_back(next.catch_block.get());
            for (auto sub = next.sub_blocks.rbegin(); sub != next.sub_blocks.rend(); ++sub)
                waiting.push_back(static_cast<const block*>(sub->get()));
        }
        return out.str();
    }

private:
    void print(const block& of) {
        if (&of != &root) out << '\n';
        out << kind_of(of) << ' ' << of.name;
        for (const block* in = above(&of, 1); in != nullptr; in = above(in, 1))
            if (in != &root) out << (in == above(&of, 1) ? " in " : ", ") << in->name;
        out << (of.no_except ? " noexcept" : "") << (of.is_strict ? " strict" : "") << '\n';
        print_variables(of);
        if (const auto* as_class = dynamic_cast<const tvr_program_block_class*>(&of))
            print_class(*as_class);
        print_code(of);
    }

    void print_variables(const block& of) {
        for (uint32_t i = 0; i < of.variables.size(); ++i) {
            if (i == 0 && of.num_params > 0)
                out << "  parameters: ";
            else if (i == of.num_params && of.num_captures > 0)
                out << "  captures: ";
            else if (i == of.num_params + of.num_captures)
                out << "  variables: ";
            else
                out << ", ";
            const bool reference = (of.variable_flags[i] & block::by_reference) != 0;
            out << (reference ? "&" : "") << of.variables.name_at(i);
            if (i < of.num_params && of.default_blocks[i] != no_default)
                out << " = block " << of.default_blocks[i];
            const bool last = i + 1 == of.num_params || i + 1 == of.num_params + of.num_captures ||
                              i + 1 == of.variables.size();
            if (last) out << '\n';
        }
    }

    void print_class(const tvr_program_block_class& of) {
        for (const auto& base : of.bases) {
            out << "  base " << base.definition.get()->name << ", slots:";
            for (const uint32_t slot : base.slots) out << ' ' << slot;
            out << '\n';
        }
        for (const std::string& contract : of.interfaces) out << "  interface " << contract << '\n';
        for (const auto& level : of.levels) {
            if (level.methods.empty()) continue;
            out << "  methods of " << level.definition.get()->name << ':';
            for (const auto& method : level.methods)
                out << ' ' << (method.is_private ? "private " : "")
                    << (method.is_abstract ? "abstract " : "") << method.name
                    << (&method != &level.methods.back() ? "," : "");
            out << '\n';
        }
    }

    void print_code(const block& of) {
        find_labels(of);
        uint32_t line = 0;
        for (uint32_t at = 0; at < of.code.size();) {
            const tvr_instruction_info& info = tvr_instruction(of.code[at]);
            print_line(of.token_at(at), line);
            print_label(at);
            print_instruction(of, at, info);
            if (info.size == 0) return;  // nobody knows where the next one begins
            at += info.size;
        }
        print_label(uint32_t(of.code.size()));
    }

    void find_labels(const block& of) {
        labels.clear();
        for (uint32_t at = 0; at < of.code.size();) {
            const tvr_instruction_info& info = tvr_instruction(of.code[at]);
            if (info.size == 0) break;
            if (is_jump(of.code[at])) labels[target(of, at)] = {};
            at += info.size;
        }
        if (of.kind == tvr_block_kind::loop) labels[of.continue_offset] = {};
        size_t number = 0;
        for (auto& [offset, label] : labels) label = tvr_join("L", ++number);
        if (of.kind == tvr_block_kind::loop) labels[of.continue_offset] += " continue";
    }

    static uint32_t target(const block& of, uint32_t at) {
        return at + uint32_t(tvr_read_field<int32_t>(&of.code[at], 4));
    }

    void print_line(const tvr_src_token* token, uint32_t& line) {
        if (token == nullptr) return;
        const tvr_src_token& place = tvr_place_of_use(*token);
        if (place.line == line) return;
        line = place.line;
        out << "  " << line << " | " << line_of(place).substr(0, tvr_longest_excerpt) << '\n';
    }

    void print_label(uint32_t at) {
        const auto label = labels.find(at);
        if (label != labels.end()) out << "    " << label->second << ":\n";
    }

    void print_instruction(const block& of, uint32_t at, const tvr_instruction_info& info) {
        std::ostringstream row;
        row << std::setw(offset_columns) << at << "  ";
        if (info.size == 0)
            row << "invalid instruction " << int(of.code[at]);
        else
            row << info.name;
        std::string comment;
        if (info.size != 0) row << fields_of(of, at, info.fields, comment);
        std::string text = row.str();
        if (!comment.empty()) {
            text.resize(std::max(text.size() + 2, comment_column), ' ');
            text += "; " + comment;
        }
        out << text << '\n';
    }

    // The fields of an instruction, and what they name.
    std::string fields_of(const block& of, uint32_t at, char fields, std::string& comment) const {
        const uint8_t* from = &of.code[at];
        const auto u32 = [&](size_t position) { return tvr_read_field<uint32_t>(from, position); };
        switch (fields) {
        case 'b':
            if (from[0] == tvr_op_call_subroutine_default_arg)
                comment = variable_name(&of, from[1]);
            return tvr_join(" ", int(from[1]));
        case 'i': comment = name_of(of, from[0], u32(4)); return tvr_join(" ", u32(4));
        case 'l': {
            const bool is_static = from[0] == tvr_op_return_parent_static_var;
            const block* owner = above(&of, u32(4));
            comment = is_static ? static_name(owner, u32(8)) : variable_name(owner, u32(8));
            return tvr_join(" ", u32(4), ", ", u32(8));
        }
        case 'n': return tvr_join(" ", tvr_read_field<int64_t>(from, 8));
        case 'f': return tvr_join(" ", tvr_read_field<double>(from, 8));
        case 's': comment = quoted_text(text_at(u32(4))); return tvr_join(" ", u32(4));
        case 'p': comment = pointed_at(from); return "";
        case 'j': return tvr_join(from[1] != 0 ? " some -> " : " -> ", labels.at(target(of, at)));
        case 'k':
            comment = block_name(above(&of, from[1]), u32(4));
            return tvr_join(" ", int(from[1]), ", ", u32(4));
        case 'm': comment = text_at(u32(4)) + in_class(from, 16); return member_flags(from[1]);
        case 'e': comment = in_class(from, 8); return member_flags(from[1]);
        case 'c':
            comment = text_at(u32(8)) + in_class(from, 16);
            return tvr_join(" ", int(from[1]), from[2] & tvr_method_super ? " super" : "");
        default: return "";
        }
    }

    // What an index is the place of.
    std::string name_of(const block& of, uint8_t opcode, uint32_t index) const {
        switch (opcode) {
        case tvr_op_return_local_var:
        case tvr_op_return_local_var_flagged: return variable_name(&of, index);
        case tvr_op_return_local_static_var: return static_name(&of, index);
        case tvr_op_return_global_var: return variable_name(&root, index);
        case tvr_op_return_global_static_var: return static_name(&root, index);
        case tvr_op_call_subroutine: return block_name(&of, index);
        default: return "";
        }
    }

    static std::string block_name(const block* of, uint32_t index) {
        return of != nullptr && index < of->sub_blocks.size() ? of->sub_blocks[index]->name : "?";
    }

    std::string text_at(uint32_t index) const {
        return index < root.strings.size() ? root.strings[index] : "?";
    }

    static std::string pointed_at(const uint8_t* from) {
        if (from[0] == tvr_op_return_namespace_variable) return "";
        return tvr_read_field<const tvr_function_def*>(from, 8)->name;
    }

    static std::string member_flags(uint8_t flags) {
        return tvr_join(flags & tvr_member_optional ? " optional" : "",
                        flags & tvr_member_target ? " target" : "");
    }

    static std::string in_class(const uint8_t* from, size_t position) {
        const auto* of = tvr_read_field<const tvr_program_block_class*>(from, position);
        return of != nullptr ? tvr_join(" in class ", of->name) : "";
    }

    const tvr_program_block_root& root;
    std::ostringstream out;
    std::map<uint32_t, std::string> labels;  // of the block that is printed, by offset
};

}  // namespace

std::string tvr_disassemble(const tvr_program_block_root& program) {
    return disassembler(program).run();
}
