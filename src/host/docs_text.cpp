#include "host/docs_text.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace host {

namespace {

using record = nlohmann::ordered_json;

constexpr size_t indent = 4;
constexpr size_t widest_name = 24;  // of the left column in a list

std::string text_at(const record& of, const char* key) {
    const auto found = of.find(key);
    return found != of.end() && found->is_string() ? found->get<std::string>() : std::string();
}

record child_at(const record& of, const char* key) {
    const auto found = of.find(key);
    return found != of.end() ? *found : record();
}

void add_line(std::string& out, std::string_view text) {
    if (!text.empty()) out.append(indent, ' ');
    out += text;
    out += '\n';
}

// The list of what stands in a namespace or class, a name and a line of text each.
class entry_list {
public:
    void add(std::string name, std::string text) {
        rows.emplace_back(std::move(name), std::move(text));
    }

    void print(std::string& out) const {
        size_t width = 0;
        for (const auto& [name, text] : rows) {
            if (name.size() <= widest_name) width = std::max(width, name.size());
        }
        for (const auto& [name, text] : rows) print_row(out, name, text, width);
    }

private:
    static void print_row(std::string& out, const std::string& name, const std::string& text,
                          size_t width) {
        if (text.empty()) return add_line(out, name);
        if (name.size() <= width) {
            return add_line(out, name + std::string(width - name.size() + 2, ' ') + text);
        }
        add_line(out, name);
        add_line(out, std::string(width + 2, ' ') + text);
    }

    std::vector<std::pair<std::string, std::string>> rows;
};

std::string first_line(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

void print_contents(std::string& out, const record& of) {
    entry_list entries;
    const record children = child_at(of, "children"), functions = child_at(of, "functions"),
                 variables = child_at(of, "vars");
    if (of.contains("functions")) {
        for (const auto& [name, child] : children.items()) {
            entries.add(name + ".", first_line(text_at(child, "description")));
        }
    }
    for (const auto& [name, text] : variables.items()) {
        entries.add(name, text.is_string() ? text.get<std::string>() : "");
    }
    for (const auto& [name, function] : functions.items()) {
        entries.add(signature_of(name, function), first_line(text_at(function, "description")));
    }
    entries.print(out);
}

void print_lines(std::string& out, const record& lines) {
    if (lines.empty()) return;
    out += '\n';
    for (const record& line : lines) {
        if (line.is_string()) add_line(out, line.get<std::string>());
    }
}

}  // namespace

std::string signature_of(std::string_view name, const record& of) {
    const size_t required = of.value("min_params", size_t(0));
    std::string result(name);
    result += '(';
    const record params = child_at(of, "params");
    for (size_t i = 0; i < params.size(); ++i) {
        const std::string text = params[i].is_string() ? params[i].get<std::string>() : "";
        const std::string param = text.substr(0, text.find(':'));
        if (i > 0) result += ", ";
        const bool optional = i >= required && param != "...";
        result += optional ? '[' + param + ']' : param;
    }
    return result + ')';
}

std::string docs_text(std::string_view path, const record& of) {
    std::string out;
    const bool callable = of.contains("min_params");
    if (!path.empty()) out += (callable ? signature_of(path, of) : std::string(path)) + '\n';
    const std::string description = text_at(of, "description");
    if (!description.empty()) add_line(out, description);
    if (const std::string type = text_at(of, "type"); !type.empty()) add_line(out, type);
    print_lines(out, child_at(of, "params"));
    print_lines(out, child_at(of, "examples"));
    if (!of.contains("functions")) return out;
    if (!out.empty()) out += '\n';
    print_contents(out, of);
    return out;
}

}  // namespace host
