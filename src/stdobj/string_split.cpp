#include "stdobj/string_split.h"

#include <algorithm>

#include "stdobj/string_text.h"

namespace {

constexpr size_t npos = std::string_view::npos;

tvr_text_parts single_bytes(std::string_view text, size_t most) {
    tvr_text_parts parts;
    parts.reserve(std::min(text.size(), most));
    while (!text.empty() && parts.size() + 1 < most) {
        parts.push_back(text.substr(0, 1));
        text.remove_prefix(1);
    }
    if (!text.empty()) parts.push_back(text);
    return parts;
}

// Walks over source text: what it steps over as one is a byte, a quoted text or a comment.
class source_walk {
public:
    explicit source_walk(std::string_view of) : text(of) {}

    bool at_end() const { return at >= text.size(); }
    bool stands_before(std::string_view what) const { return text.substr(at).starts_with(what); }

    void step() {
        const char c = text[at];
        if (c == '"' || c == '\'') return step_over_quotes(c);
        if (stands_before("//")) return step_to("\n", 0);
        if (stands_before("/*")) return step_to("*/", 2);
        if (c == '(' || c == '[' || c == '{') ++depth;
        if (depth > 0 && (c == ')' || c == ']' || c == '}')) --depth;
        ++at;
    }

    size_t at = 0;
    size_t depth = 0;

private:
    void step_over_quotes(char quote) {
        for (++at; !at_end() && text[at] != quote; ++at) {
            if (text[at] == '\\') ++at;
        }
        at = std::min(at + 1, text.size());
    }
    void step_to(std::string_view end, size_t and_over) {
        constexpr size_t opening = 2;
        const size_t found = text.find(end, at + opening);
        at = found == npos ? text.size() : found + and_over;
    }

    std::string_view text;
};

}  // namespace

tvr_text_parts tvr_split(std::string_view text, std::string_view delimiter, int64_t most_parts) {
    const size_t most = most_parts < 1 ? npos : size_t(most_parts);
    if (delimiter.empty()) return single_bytes(text, most);
    tvr_text_parts parts;
    size_t begin = 0;
    while (parts.size() + 1 < most) {
        const size_t end = tvr_find_text(text, delimiter, begin);
        if (end == npos) break;
        parts.push_back(text.substr(begin, end - begin));
        begin = end + delimiter.size();
    }
    parts.push_back(text.substr(begin));
    return parts;
}

tvr_text_parts tvr_split_words(std::string_view text) {
    tvr_text_parts parts;
    size_t at = 0;
    while (true) {
        while (at < text.size() && tvr_is_space(text[at])) ++at;
        if (at == text.size()) return parts;
        const size_t begin = at;
        while (at < text.size() && !tvr_is_space(text[at])) ++at;
        parts.push_back(text.substr(begin, at - begin));
    }
}

tvr_text_parts tvr_smart_split(std::string_view text, std::string_view delimiter) {
    tvr_text_parts parts;
    source_walk walk(text);
    size_t begin = 0;
    while (!walk.at_end()) {
        if (delimiter.empty() || walk.depth > 0 || !walk.stands_before(delimiter)) {
            walk.step();
            continue;
        }
        parts.push_back(text.substr(begin, walk.at - begin));
        begin = walk.at += delimiter.size();
    }
    parts.push_back(text.substr(begin));
    return parts;
}

tvr_text_parts tvr_extract(std::string_view text, std::string_view left, std::string_view right,
                           size_t most_parts) {
    tvr_text_parts parts;
    for (size_t at = 0; at < text.size() && parts.size() < most_parts;) {
        const size_t begin = tvr_find_text(text, left, at);
        if (begin == npos) break;
        const size_t inside = begin + left.size();
        const size_t end = right.empty() ? text.size() : tvr_find_text(text, right, inside);
        if (end == npos) break;
        parts.push_back(text.substr(inside, end - inside));
        at = end + right.size();
    }
    return parts;
}
