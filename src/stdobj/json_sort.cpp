#include "stdobj/json_sort.h"

#include <algorithm>
#include <cctype>

#include "runtime/value/plain_value.h"

namespace {

using entry = tvr_std_json::entry;

// Moves the entries with a key to the front, by swaps from both ends. Their number.
size_t keys_to_front(std::vector<entry>& entries) {
    size_t front = 0, back = entries.size();
    while (true) {
        while (front < back && entries[front].has_key()) ++front;
        while (front < back && !entries[back - 1].has_key()) --back;
        if (front == back) return front;
        std::swap(entries[front], entries[back - 1]);
    }
}

// Puts the first entries into the order of sorted records, which name their places.
template <typename RECORD>
void rearrange(tvr_std_json& json, const std::vector<RECORD>& sorted) {
    std::vector<entry> moved;
    moved.reserve(sorted.size());
    for (const RECORD& record : sorted) moved.push_back(std::move(json.entries[record.place]));
    std::move(moved.begin(), moved.end(), json.entries.begin());
    json.entries_moved();
}

struct key_record {
    std::string lowered;
    uint32_t place;
};

// What an entry is sorted by, in a column of numbers or in one with texts.
struct member_record {
    enum kind : uint8_t { number, text, none };

    union {
        double value = 0;
        uint64_t head;  // the first bytes of its text, so that most texts compare as numbers
    };
    uint32_t place = 0;
    kind is = none;
};

// A merge sort of our own: numbers among texts may contradict each other, under which the library's
// promises nothing.
template <typename RECORD, typename LESS>
class merge_sort {
public:
    merge_sort(std::vector<RECORD>& sorted, LESS by) : records(sorted), less(by) {}

    void run() {
        constexpr size_t longest_inserted = 16;
        const size_t count = records.size();
        for (size_t first = 0; first < count; first += longest_inserted) {
            insert(first, std::min(first + longest_inserted, count));
        }
        other.resize(count);
        for (size_t width = longest_inserted; width < count; width *= 2) {
            for (size_t first = 0; first < count; first += 2 * width) {
                merge(first, std::min(first + width, count), std::min(first + 2 * width, count));
            }
            records.swap(other);
        }
    }

private:
    void insert(size_t first, size_t last) {
        for (size_t i = first + 1; i < last; ++i) {
            const RECORD moved = records[i];
            size_t to = i;
            for (; to > first && less(moved, records[to - 1]); --to) records[to] = records[to - 1];
            records[to] = moved;
        }
    }

    void merge(size_t first, size_t middle, size_t last) {
        size_t left = first, right = middle;
        for (size_t out = first; out < last; ++out) {
            const bool takes_right =
                left == middle || (right < last && less(records[right], records[left]));
            other[out] = records[takes_right ? right++ : left++];
        }
    }

    std::vector<RECORD>& records;
    std::vector<RECORD> other;
    const LESS less;
};

template <typename RECORD, typename LESS>
void sort_stable(std::vector<RECORD>& records, LESS less) {
    merge_sort<RECORD, LESS>(records, less).run();
}

// The member of a value; an empty handle without one. A json does not grow by being asked.
tvrvar_shared member_of(tvrvar& variable, std::string_view key) {
    const tvr_plain_value value(variable);
    if (value->type == tvrvar_type_json) {
        tvrvar* found = static_cast<tvr_std_json*>(value->block->object)->find(key);
        return tvrvar_shared(found);
    }
    return value->has_member(key) ? value->get_member(key) : tvrvar_shared();
}

// What the next values are made of is asked for before it is looked at: behind an entry stand a
// variable, a block, a json and its entries, each somewhere else in memory. Inline, as gcc takes
// calls of a function that does nothing else for superfluous.
[[gnu::always_inline]] inline void fetch_ahead(const std::vector<entry>& entries, size_t at) {
    constexpr size_t step = 12;
    const auto json_at = [&](size_t place) -> tvr_std_json* {
        const tvrvar* value = place < entries.size() ? entries[place].value.get() : nullptr;
        const bool is_json = value != nullptr && value->type == tvrvar_type_json;
        return is_json ? static_cast<tvr_std_json*>(value->block->object) : nullptr;
    };
    const size_t last = entries.size() - 1;
    __builtin_prefetch(entries[std::min(at + 5 * step, last)].value.get());
    const tvrvar* value = entries[std::min(at + 4 * step, last)].value.get();
    if (value->type == tvrvar_type_json) __builtin_prefetch(value->block);
    if (const tvr_std_json* json = json_at(at + 3 * step)) {
        __builtin_prefetch(&json->entries);
        __builtin_prefetch(json + 1);  // its last fields lie on another line
    }
    if (const tvr_std_json* json = json_at(at + 2 * step)) {
        __builtin_prefetch(json->entries.data());
    }
    const tvr_std_json* json = json_at(at + step);
    if (json == nullptr || json->entries.empty()) return;
    __builtin_prefetch(json->entries.front().key.address());
    __builtin_prefetch(json->entries.front().value.get());
}

// The first bytes of a text as a number that is ordered like them.
uint64_t head_of(std::string_view text) {
    uint64_t head = 0;
    for (size_t i = 0; i < sizeof head; ++i) {
        head = head << 8 | (i < text.size() ? uint8_t(text[i]) : 0U);
    }
    return head;
}

// What the entries are sorted by.
class member_column {
public:
    member_column(tvr_std_json& sorted, std::string_view by, size_t count)
        : json(sorted), key(by), records(count) {
        for (size_t i = 0; i < count && i < json.size(); ++i) {
            fetch_ahead(json.entries, i);
            records[i].place = uint32_t(i);
            const tvrvar_shared entry_value = json.entries[i].value;
            if (const tvrvar_shared member = member_of(*entry_value, key)) read(*member, i);
        }
        if (!texts.empty()) add_texts_of_numbers();
    }

    const std::vector<member_record>& sort(bool descending) {
        using record = member_record;
        if (texts.empty()) {
            sort_by(descending, [](const record& a, const record& b) { return a.value < b.value; });
        } else {
            sort_by(descending, [this](const record& a, const record& b) {
                const bool numbers_both = a.is == record::number && b.is == record::number;
                if (numbers_both) return numbers[a.place] < numbers[b.place];
                if (a.head != b.head) return a.head < b.head;
                return texts[a.place] < texts[b.place];
            });
        }
        return records;
    }

private:
    void read(tvrvar& member, size_t place) {
        const tvr_plain_value value(member);
        if (value->is_none()) return;
        if (value->is_number()) {
            records[place].value = value->float_value();
            records[place].is = member_record::number;
        } else {
            texts.resize(records.size());
            set_text(*value, place);
            records[place].is = member_record::text;
        }
    }

    void set_text(tvrvar& value, size_t place) {
        value.string_value(texts[place]);
        records[place].head = head_of(texts[place]);
    }

    // Among texts a number is one as well.
    void add_texts_of_numbers() {
        numbers.resize(records.size());
        for (size_t i = 0; i < records.size() && i < json.size(); ++i) {
            if (records[i].is != member_record::number) continue;
            numbers[i] = records[i].value;
            const tvrvar_shared entry_value = json.entries[i].value;
            if (const tvrvar_shared member = member_of(*entry_value, key)) set_text(*member, i);
        }
    }

    // Those without the member stay out of it, and stand behind.
    template <typename LESS>
    void sort_by(bool descending, LESS less) {
        using record = member_record;
        const auto has_one = [](const record& r) { return r.is != record::none; };
        const auto rest = std::stable_partition(records.begin(), records.end(), has_one);
        const std::vector<record> without(rest, records.end());
        records.erase(rest, records.end());
        if (descending) {
            sort_stable(records, [less](const record& a, const record& b) { return less(b, a); });
        } else {
            sort_stable(records, less);
        }
        records.insert(records.end(), without.begin(), without.end());
    }

    tvr_std_json& json;
    const std::string_view key;
    std::vector<member_record> records;
    std::vector<std::string> texts;  // by place; empty while there are only numbers
    std::vector<double> numbers;     // by place, among texts
};

}  // namespace

void tvr_sort_by_key(tvr_std_json& json) {
    const size_t count = keys_to_front(json.entries);
    std::vector<key_record> records;
    records.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        std::string lowered(json.entries[i].name());
        for (char& c : lowered) c = char(std::tolower(uint8_t(c)));
        records.push_back({std::move(lowered), uint32_t(i)});
    }
    std::sort(records.begin(), records.end(),
              [](const auto& a, const auto& b) { return a.lowered < b.lowered; });
    rearrange(json, records);
}

void tvr_sort_by_key_reverse(tvr_std_json& json) {
    const auto keyed = std::ptrdiff_t(keys_to_front(json.entries));
    std::sort(json.entries.begin(), json.entries.begin() + keyed,
              [](const entry& a, const entry& b) { return a.name() > b.name(); });
    json.entries_moved();
}

void tvr_sort_by_member(tvr_std_json& json, std::string_view key, bool descending) {
    const size_t count = keys_to_front(json.entries);
    member_column column(json, key, count);
    const std::vector<member_record>& sorted = column.sort(descending);
    if (json.size() < count) return;  // a native member has emptied it
    rearrange(json, sorted);
}
