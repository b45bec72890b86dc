#include "bridge_sim/line_writer.h"

namespace bridge_sim {

std::string json_escape(std::string_view value) {
    std::string out;
    for (char c : value) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (uint8_t(c) < 0x20) {
            constexpr char digits[] = "0123456789abcdef";
            out += "\\u00";
            out += digits[uint8_t(c) >> 4];
            out += digits[uint8_t(c) & 15];
        } else {
            out += c;
        }
    }
    return out;
}

std::string fixed_point(int64_t value, int digits) {
    std::string text = std::to_string(value < 0 ? -value : value);
    const size_t behind = size_t(digits);
    if (text.size() <= behind) text = std::string(behind + 1 - text.size(), '0') + text;
    const std::string number =
        text.substr(0, text.size() - behind) + '.' + text.substr(text.size() - behind);
    return value < 0 ? '-' + number : number;
}

line_writer::line_writer(std::string_view kind) {
    line = "{\"t\":\"";
    line += kind;
    line += '"';
}

void line_writer::begin(std::string_view key) {
    line += ",\"";
    line += key;
    line += "\":";
}

line_writer& line_writer::text(std::string_view key, std::string_view value) {
    begin(key);
    line += '"';
    line += json_escape(value);
    line += '"';
    return *this;
}

line_writer& line_writer::integer(std::string_view key, int64_t value) {
    begin(key);
    line += std::to_string(value);
    return *this;
}

line_writer& line_writer::decimal(std::string_view key, int64_t value, int digits) {
    begin(key);
    std::string number = fixed_point(value, digits);
    while (number.back() == '0' && number[number.size() - 2] != '.') number.pop_back();
    line += number;
    return *this;
}

line_writer& line_writer::flag(std::string_view key, bool value) {
    begin(key);
    line += value ? "true" : "false";
    return *this;
}

line_writer& line_writer::null(std::string_view key) {
    begin(key);
    line += "null";
    return *this;
}

line_writer& line_writer::flags(std::string_view key, const std::string& bits) {
    begin(key);
    line += '[';
    for (size_t i = 0; i < bits.size(); i++) {
        if (i > 0) line += ',';
        line += bits[i];
    }
    line += ']';
    return *this;
}

}  // namespace bridge_sim
