#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

#include "base/join.h"
#include "runtime/local/error_sink.h"
#include "runtime/payload/json_text.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_json_bool.h"
#include "runtime/value/number_text.h"
#include "runtime/value/plain_value.h"

namespace {

// Bytes that stand in a JSON string as they are.
bool is_verbatim(char c) {
    const auto byte = uint8_t(c);
    return byte >= 0x20 && byte < 0x80 && c != '"' && c != '\\';
}

// The rare texts, with escapes or beyond ASCII, go through the library.
void print_text(std::string_view text, std::string& out) {
    if (std::all_of(text.begin(), text.end(), is_verbatim)) {
        out += '"';
        out += text;
        out += '"';
        return;
    }
    using json = nlohmann::json;
    out += json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

// The shortest form that reads back as the same float, and never as an int.
void print_float(double value, std::string& out) {
    constexpr double smallest_plain = 1e-5, largest_plain = 1e15;
    if (!std::isfinite(value)) {
        out += "null";
        return;
    }
    const double size = std::fabs(value);
    const bool plain = size == 0.0 || (size >= smallest_plain && size < largest_plain);
    char text[40];
    const auto end =
        std::to_chars(text, text + sizeof text, value,
                      plain ? std::chars_format::fixed : std::chars_format::scientific);
    const std::string_view digits(text, size_t(end.ptr - text));
    out += digits;
    if (digits.find_first_of(".e") == digits.npos) out += ".0";
}

enum class print_mode : uint8_t { values, debug_refs };

class json_printer {
public:
    json_printer(tvr_json_conversion_state& conversion, std::string& into, bool on_one_line,
                 print_mode what)
        : state(conversion), out(into), compact(on_one_line), mode(what) {}

    // What stands for a value, of which so many handles are held elsewhere.
    void print_element(tvrvar& variable, int32_t refcount) {
        if (mode == print_mode::values) return print(variable);
        const tvr_plain_value value(variable);
        open('{');
        print_member("is_ref", variable.is_ref() ? "true" : "false");
        out += ',';
        print_member("refcount", std::to_string(refcount));
        out += ',';
        print_member("type", tvr_join('"', tvrvar_type_name(value->type), '"'));
        if (auto* json = value->object<tvr_std_json>()) {
            out += ',';
            print_member("value", "");
            print(*json);
        }
        close('}');
    }

    void print(tvrvar& variable) {
        const tvr_plain_value value(variable);
        switch (value->type) {
        case tvrvar_type_none: out += "null"; return;
        case tvrvar_type_int: return tvr_append_int(out, value->integer);
        case tvrvar_type_float: return print_float(value->real, out);
        case tvrvar_type_string: return print_text(value->string_view(), out);
        case tvrvar_type_json: return print(*value->object<tvr_std_json>());
        default: break;
        }
        if (auto* truth = value->object<tvr_std_json_bool>()) {
            out += truth->truth() ? "true" : "false";
            return;
        }
        print_text(value->string_value(), out);
    }

    void print(tvr_std_json& json) {
        if (state.chain.size() >= tvr_max_json_depth) {
            state.status = tvr_json_conversion_state::met_depth_limit;
            out += "\"<nested too deeply>\"";
            return;
        }
        if (std::find(state.chain.begin(), state.chain.end(), &json) != state.chain.end()) {
            state.status = tvr_json_conversion_state::met_cycle;
            out += "\"<cycle>\"";
            return;
        }
        const tvrptr_strong<tvr_std_json> kept(&json);  // a text of an object may let go of it
        state.chain.push_back(&json);
        print_entries(json);
        state.chain.pop_back();
    }

private:
    void print_entries(tvr_std_json& json) {
        const bool list = json.is_list();
        const size_t last_keyless = list ? 0 : find_last_keyless(json);
        open(list ? '[' : '{');
        bool first = true;
        for (size_t i = 0; i < json.size(); ++i) {
            if (!list && !is_last_of_key(json, i, last_keyless)) continue;
            if (!std::exchange(first, false)) out += ',';
            break_line();
            if (!list) print_key(json.entries[i].name());
            const int32_t refcount = json.entries[i].value->refcount;
            const tvrvar_shared value = json.entries[i].value;
            print_element(*value, refcount);
        }
        close(list ? ']' : '}', !first);
    }

    void open(char bracket) {
        out += bracket;
        ++level;
    }
    void close(char bracket, bool on_own_line = true) {
        --level;
        if (on_own_line) break_line();
        out += bracket;
    }

    void print_member(std::string_view key, std::string_view text) {
        break_line();
        print_key(key);
        out += text;
    }

    void print_key(std::string_view key) {
        print_text(key, out);
        out += compact ? ":" : ": ";
    }

    void break_line() {
        constexpr size_t indent = 4;
        if (compact) return;
        out += '\n';
        out.append(level * indent, ' ');
    }

    static size_t find_last_keyless(const tvr_std_json& json) {
        size_t i = json.size();
        while (i > 0 && json.entries[i - 1].has_key()) --i;
        return i - 1;  // past every position when there is none
    }

    static bool is_last_of_key(tvr_std_json& json, size_t i, size_t last_keyless) {
        const tvr_std_json::entry& e = json.entries[i];
        return e.has_key() ? json.find(e.name()) == e.value.get() : i == last_keyless;
    }

    tvr_json_conversion_state& state;
    std::string& out;
    const bool compact;
    const print_mode mode;
    size_t level = 0;  // of indentation
};

void report(const tvr_json_conversion_state& state, print_mode mode) {
    const std::string_view does = mode == print_mode::values ? "printing" : "debug_refs shows";
    if (state.status == tvr_json_conversion_state::met_cycle) {
        runtime_warning("JSON contains a reference to itself, ", does,
                        " \"<cycle>\" instead of recursing forever.");
    }
    if (state.status == tvr_json_conversion_state::met_depth_limit) {
        runtime_warning("JSON nesting exceeds the maximum depth of ", tvr_max_json_depth, ", ",
                        does, " \"<nested too deeply>\" for the rest.");
    }
}

}  // namespace

void tvrjson_to_json(tvr_json_conversion_state& state, tvr_std_json& json, std::string& out,
                     bool compact) {
    json_printer(state, out, compact, print_mode::values).print(json);
}

void tvrvar_to_json(tvr_json_conversion_state& state, tvrvar& value, std::string& out,
                    bool compact) {
    json_printer(state, out, compact, print_mode::values).print(value);
}

void tvrjson_to_debug_refs_json(tvr_json_conversion_state& state, tvr_std_json& json,
                                std::string& out, bool compact) {
    json_printer(state, out, compact, print_mode::debug_refs).print(json);
}

void tvrvar_to_debug_refs_json(tvr_json_conversion_state& state, tvrvar& value, std::string& out,
                               bool compact) {
    json_printer(state, out, compact, print_mode::debug_refs).print_element(value, value.refcount);
}

void tvrjson_to_json(tvr_std_json& json, std::string& out, bool compact) {
    tvr_json_conversion_state state;
    tvrjson_to_json(state, json, out, compact);
    report(state, print_mode::values);
}

void tvrvar_to_json(tvrvar& value, std::string& out, bool compact) {
    tvr_json_conversion_state state;
    tvrvar_to_json(state, value, out, compact);
    report(state, print_mode::values);
}

void tvrjson_to_debug_refs_json(tvr_std_json& json, std::string& out, bool compact) {
    tvr_json_conversion_state state;
    tvrjson_to_debug_refs_json(state, json, out, compact);
    report(state, print_mode::debug_refs);
}

void tvrvar_to_debug_refs_json(tvrvar& value, std::string& out, bool compact) {
    tvr_json_conversion_state state;
    tvrvar_to_debug_refs_json(state, value, out, compact);
    report(state, print_mode::debug_refs);
}
