#include "host/repl/input_end.h"

#include <cctype>
#include <vector>

namespace repl {

namespace {

// Walks over a text and keeps what is open. It need not be exact about wrong texts: these are
// compiled, and the compiler says what is wrong.
class scanner {
public:
    explicit scanner(std::string_view of) : text(of) {}

    input_state scan() {
        while (at < text.size()) {
            if (!step()) return input_state::open;
        }
        if (depth > 0) return input_state::open;
        if (last == 0) return input_state::blank;
        return last == ';' || last == '}' ? input_state::whole : input_state::unended;
    }

private:
    bool starts(std::string_view with) const { return text.substr(at).starts_with(with); }

    // Past what stands up to and with `end`. False when there is no such end.
    bool pass(std::string_view end, size_t from) {
        const size_t found = text.find(end, from);
        at = found == std::string_view::npos ? text.size() : found + end.size();
        return found != std::string_view::npos;
    }

    bool pass_line() {
        if (!pass("\n", at)) at = text.size();
        return true;
    }

    bool pass_string(char quote) {
        last = quote;
        const std::string three(3, quote);
        if (starts(three)) return pass(three, at + three.size());
        for (++at; at < text.size(); ++at) {
            if (text[at] == '\\') {
                ++at;
            } else if (text[at] == quote) {
                ++at;
                return true;
            }
        }
        return false;
    }

    bool step() {
        const char c = text[at];
        if (starts("//")) return pass_line();
        if (starts("/*")) return pass("*/", at + 2);
        if (starts("R\"(")) {
            last = '"';
            return pass(")\"", at + 3);
        }
        if (c == '"' || c == '\'') return pass_string(c);
        if (c == '(' || c == '[' || c == '{') ++depth;
        if (c == ')' || c == ']' || c == '}') --depth;
        if (c == '#' && last_line_is_blank()) return pass_directive();
        if (std::isspace(static_cast<unsigned char>(c)) == 0) last = c;
        ++at;
        return true;
    }

    bool last_line_is_blank() const {
        for (size_t i = at; i-- > 0 && text[i] != '\n';) {
            if (std::isspace(static_cast<unsigned char>(text[i])) == 0) return false;
        }
        return true;
    }

    // #include and #define end with their line.
    bool pass_directive() {
        last = ';';
        return pass_line();
    }

    std::string_view text;
    size_t at = 0;
    int depth = 0;
    char last = 0;  // the last byte that is no blank or comment
};

}  // namespace

input_state state_of_input(std::string_view text) {
    return scanner(text).scan();
}

}  // namespace repl
