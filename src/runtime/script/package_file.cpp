#include "runtime/script/package_file.h"

#include "base/join.h"

namespace {

constexpr std::string_view blanks = " \t\r";

std::string_view trim(std::string_view text) {
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// The line without its comment.
std::string_view without_comment(std::string_view line) {
    bool quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '"') quoted = !quoted;
        if (line[i] == '#' && !quoted) return line.substr(0, i);
    }
    return line;
}

// The value between its quotes, or as it stands. False when a quote has no partner.
bool take_value(std::string_view text, std::string& value) {
    if (!text.starts_with('"')) {
        value = text;
        return text.find('"') == std::string_view::npos;
    }
    if (text.find('"', 1) != text.size() - 1 || text.size() < 2) return false;
    value = text.substr(1, text.size() - 2);
    return true;
}

}  // namespace

bool tvr_package_file::parse(std::string_view text, std::string& error) {
    values.clear();
    for (size_t number = 1; !text.empty(); ++number) {
        const size_t end = text.find('\n');
        const std::string_view line = trim(without_comment(text.substr(0, end)));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.empty()) continue;

        const size_t equals = line.find('=');
        const std::string_view key = trim(line.substr(0, equals));
        std::string value;
        const bool good = equals != std::string_view::npos && !key.empty() &&
                          key.find('"') == std::string_view::npos &&
                          take_value(trim(line.substr(equals + 1)), value);
        if (!good) {
            error = tvr_join("line ", number, " is not of the form: key = value");
            return false;
        }
        values[std::string(key)] = value;
    }
    return true;
}

std::string tvr_package_file::value_of(const std::string& key) const {
    const auto found = values.find(key);
    return found != values.end() ? found->second : std::string();
}

std::string tvr_package_file::subsystem() const {
    const std::string given = value_of("subsystem");
    return given.empty() ? "MODULE_INTERNAL" : given;
}
