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

struct member_record {
    enum kind : uint8_t { number, text, none };

    double value = 0;
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

// The member of a value, none without one. A json does not grow by being asked.
tvrvar_shared member_of(tvrvar& variable, std::string_view key) {
    const tvr_plain_value value(variable);
    if (auto* json = value->object<tvr_std_json>()) {
        tvrvar* found = json->find(key);
        return found != nullptr ? found->deref() : tvrvar_shared::make();
    }
    if (!value->has_member(key)) return tvrvar_shared::make();
    return value->get_member(key)->deref();
}

// What the entries are sorted by.
class member_column {
public:
    member_column(tvr_std_json& json, std::string_view key, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            const tvrvar_shared entry_value = json.entries[i].value;
            add(member_of(*entry_value, key), uint32_t(i));
        }
    }

    const std::vector<member_record>& sort(bool descending) {
        if (only_numbers) {
            sort_by(descending, [](const member_record& a, const member_record& b) {
                return a.value < b.value;
            });
        } else {
            sort_by(descending, [this](const member_record& a, const member_record& b) {
                if (a.is == b.is && a.is == member_record::number) return a.value < b.value;
                return texts[a.place] < texts[b.place];
            });
        }
        return records;
    }

private:
    using kind = member_record::kind;

    void add(const tvrvar_shared& member, uint32_t place) {
        member_record record{.place = place};
        if (member->is_number()) {
            record = {member->float_value(), place, member_record::number};
        } else if (!member->is_none()) {
            record.is = member_record::text;
            only_numbers = false;
        }
        records.push_back(record);
        members.push_back(member);
    }

    template <typename LESS>
    void sort_by(bool descending, LESS less) {
        if (!only_numbers) {
            for (const tvrvar_shared& member : members) texts.push_back(member->string_value());
        }
        using record = member_record;
        sort_stable(records, [less, descending](const record& a, const record& b) {
            if (a.is == record::none || b.is == record::none)
                return a.is < b.is && b.is == record::none;
            return descending ? less(b, a) : less(a, b);
        });
    }

    std::vector<member_record> records;
    std::vector<tvrvar_shared> members;  // by place
    std::vector<std::string> texts;      // by place; empty while there are only numbers
    bool only_numbers = true;
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
