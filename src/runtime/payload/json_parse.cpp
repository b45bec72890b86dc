#include <algorithm>
#include <array>
#include <iterator>
#include <nlohmann/json.hpp>
#include <span>
#include <utility>

#include "runtime/local/error_sink.h"
#include "runtime/log/log.h"
#include "runtime/payload/json_text.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_json_bool.h"

namespace {

using parser = nlohmann::json;

using entry = tvr_std_json::entry;

// By key, and of those with the same key the last.
void sort_entries(std::span<entry> all, std::vector<entry>& into) {
    std::stable_sort(all.begin(), all.end(),
                     [](const entry& a, const entry& b) { return a.name() < b.name(); });
    for (size_t i = 0; i < all.size(); ++i) {
        const bool hidden = i + 1 < all.size() && all[i].name() == all[i + 1].name();
        if (!hidden) into.push_back(std::move(all[i]));
    }
}

// The keys of a document come again and again: those that were met lately are shared.
class known_keys {
public:
    tvr_json_key get(std::string_view text) {
        if (text.empty()) return {};
        tvr_json_key& place = places[place_of(text)];
        if (!tvr_std_json::quickcompare(place.text(), text)) place = tvr_json_key(text);
        return place;
    }

private:
    static constexpr size_t count = 256;

    static size_t place_of(std::string_view text) {
        const size_t mixed = text.size() + uint8_t(text.front()) * size_t(37) +
                             uint8_t(text.back()) * size_t(101) +
                             uint8_t(text[text.size() / 2]) * size_t(59);
        return mixed % count;
    }

    std::array<tvr_json_key, count> places;
};

// Builds values while the parser reads, without a tree between. What is open is a stack of its
// own, so depth costs no calls. The entries of an object end up sorted by key.
class json_builder : public nlohmann::json_sax<parser> {
public:
    explicit json_builder(tvrvar& into) : result(into) {}

    bool null() override {
        tvrvar none;
        return put(none);
    }
    bool boolean(bool value) override {
        next().as_object(new tvr_std_json_bool(value));
        return true;
    }
    bool number_integer(number_integer_t value) override {
        tvrvar number;
        number.as_int(value);
        return put(number);
    }
    bool number_unsigned(number_unsigned_t value) override {
        return number_integer(int64_t(value));
    }
    bool number_float(number_float_t value, const string_t&) override {
        tvrvar number;
        number.as_float(value);
        return put(number);
    }
    bool string(string_t& value) override {
        next().as_string(std::string_view(value));
        return true;
    }
    bool binary(binary_t&) override { return false; }  // not in text
    bool start_object(size_t) override { return open_container(); }
    bool start_array(size_t) override { return open_container(); }
    bool end_object() override { return close_container(); }
    bool end_array() override { return close_container(); }
    bool key(string_t& value) override {
        container& to = open.back();
        if (read.size() > to.first && read.back().name() >= value) to.sorted = false;
        read.emplace_back().key = keys.get(value);
        has_key = true;
        return true;
    }
    bool parse_error(size_t position, const std::string&,
                     const nlohmann::detail::exception& error) override {
        failed_at = position;
        message = error.what();
        return false;
    }

    size_t failed_at = 0;  // byte, counted from 1 as the parser does
    std::string message;
    bool too_deep = false;

private:
    struct container {
        tvrvar* into;
        size_t first;  // of its entries that have been read
        bool sorted = true;
    };

    // The entry for the next value: of the key that was read, or a new element.
    tvr_compact_value& next_entry() {
        if (!std::exchange(has_key, false)) read.emplace_back();
        return read.back().value;
    }
    // The variable for it: the entry's, or the result itself.
    tvrvar& next() { return open.empty() ? result : *next_entry(); }
    bool put(tvrvar& primitive) {
        if (open.empty()) {
            result.set(primitive);
        } else if (tvr_compact_value& place = next_entry(); !place.write_here(primitive)) {
            place->set(primitive);
        }
        return true;
    }
    bool open_container() {
        too_deep = open.size() == tvr_max_json_depth;
        if (too_deep) return false;
        tvrvar& into = next();
        open.push_back({&into, read.size()});
        return true;
    }
    // Its entries go into memory of just their size.
    bool close_container() {
        const container done = open.back();
        open.pop_back();
        tvr_std_json& json = done.into->as_json(true);
        const std::span<entry> all(read.begin() + std::ptrdiff_t(done.first), read.end());
        json.entries.reserve(all.size());
        if (done.sorted) {
            std::move(all.begin(), all.end(), std::back_inserter(json.entries));
        } else {
            sort_entries(all, json.entries);
        }
        read.resize(done.first);
        json.entries_moved();
        return true;
    }

    tvrvar& result;
    std::vector<container> open;
    std::vector<entry> read;  // of all that is open, the outermost first
    bool has_key = false;     // the last entry waits for its value
    known_keys keys;
};

bool parse(std::string_view text, json_builder& builder) {
    return parser::sax_parse(text.begin(), text.end(), &builder);
}

// From the first byte that can begin a value to the last that can end one; the whole text, or
// nothing, when there is no such part.
std::string_view value_inside(std::string_view text) {
    const size_t first = text.find_first_of("[{\"");
    const size_t last = text.find_last_of("]}\"");
    if (first == text.npos || last == text.npos || first >= last) return {};
    return text.substr(first, last - first + 1);
}

void report(const json_builder& failure, std::string_view text) {
    if (failure.too_deep) {
        return runtime_error("JSON parse error: nesting exceeds the maximum depth of ",
                             tvr_max_json_depth, ".");
    }
    constexpr size_t most_shown = 60;
    const size_t end = std::min(failure.failed_at, text.size());
    const size_t begin = end - std::min(end, most_shown);
    tvr_log().err("JSON parse error at byte ", failure.failed_at, " of ", text.size(), ": ",
                  failure.message, "\n  near: ", text.substr(begin, end - begin));
}

}  // namespace

bool tvr_parse_json(std::string_view text, tvrvar& result, bool quiet) {
    result.as_none();
    json_builder whole(result);
    if (parse(text, whole)) return true;
    const std::string_view inside = value_inside(text);
    if (!whole.too_deep && !inside.empty() && inside.size() < text.size()) {
        result.as_none();
        json_builder part(result);
        if (parse(inside, part)) return true;
        whole.too_deep = part.too_deep;
    }
    result.as_none();
    if (!quiet) report(whole, text);
    return false;
}
