#include "stdobj/list_sort.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "runtime/local/error_sink.h"
#include "runtime/task/task.h"
#include "runtime/value/plain_value.h"

namespace {

using places = std::vector<uint32_t>;

// What a value is sorted by. Texts are borrowed from the list's own strings.
struct sort_key {
    enum kind : uint8_t { int_number, float_number, not_a_number, text, rest };

    int order() const { return rank <= float_number ? 0 : rank; }

    kind rank = rest;
    union {
        int64_t integer = 0;
        double real;
    };
    std::string_view bytes = {};
};

sort_key key_of(tvrvar& variable) {
    sort_key key;
    if (variable.type == tvrvar_type_int) {
        key.rank = sort_key::int_number;
        key.integer = variable.integer;
    } else if (variable.type == tvrvar_type_float) {
        key.rank = std::isnan(variable.real) ? sort_key::not_a_number : sort_key::float_number;
        key.real = variable.real;
    } else if (variable.type == tvrvar_type_string) {
        key.rank = sort_key::text;
        key.bytes = variable.string_view();
    }
    return key;
}

// An int and a float exactly: this type holds all of both.
long double exact(const sort_key& key) {
    static_assert(std::numeric_limits<long double>::digits >= 64);
    return key.rank == sort_key::int_number ? static_cast<long double>(key.integer)
                                            : static_cast<long double>(key.real);
}

bool is_less(const sort_key& a, const sort_key& b) {
    if (a.rank == b.rank) {
        switch (a.rank) {
        case sort_key::int_number: return a.integer < b.integer;
        case sort_key::float_number: return a.real < b.real;
        case sort_key::text: return a.bytes < b.bytes;
        default: return false;
        }
    }
    if (a.order() != b.order()) return a.order() < b.order();
    return exact(a) < exact(b);
}

// The plain values of a list's entries, kept alive whatever happens to the list.
std::vector<tvrvar_shared> values_of(const tvr_std_json& list) {
    std::vector<tvrvar_shared> values;
    values.reserve(list.size());
    for (size_t i = 0; i < list.size(); ++i) values.push_back(list.entries[i].value);
    return values;
}

places in_order(size_t count) {
    places order(count);
    std::iota(order.begin(), order.end(), 0U);
    return order;
}

void rearrange(tvr_std_json& list, const places& order) {
    std::vector<tvr_std_json::entry> sorted;
    sorted.reserve(order.size());
    for (const uint32_t place : order) sorted.push_back(std::move(list.entries[place]));
    list.entries = std::move(sorted);
    list.entries_moved();
}

// A merge sort of our own: the library's may run past the end when `less` contradicts itself.
class script_sort {
public:
    script_sort(std::vector<tvrvar_shared> sorted, tvrvar& by)
        : values(std::move(sorted)), less(by), order(in_order(values.size())), merged(order) {}

    // False after an error in `less`.
    bool run() {
        for (size_t width = 1; width < order.size(); width *= 2) {
            for (size_t first = 0; first < order.size(); first += 2 * width) {
                if (!merge(first, std::min(first + width, order.size()),
                           std::min(first + 2 * width, order.size()))) {
                    return false;
                }
            }
            order.swap(merged);
        }
        return true;
    }

    const std::vector<tvrvar_shared>& sorted_values() const { return values; }
    const places& sorted_order() const { return order; }

private:
    bool merge(size_t first, size_t middle, size_t last) {
        size_t left = first, right = middle;
        for (size_t out = first; out < last; ++out) {
            bool take_right = left == middle;
            if (left < middle && right < last && !ask(order[right], order[left], take_right)) {
                return false;
            }
            merged[out] = order[take_right ? right++ : left++];
        }
        return true;
    }

    bool ask(uint32_t a, uint32_t b, bool& answer) {
        args.assign({values[a], values[b]});
        tvrvar_shared result;
        if (!tvr_task::call(less, args, result)) return false;
        answer = result && !result->compare_zero();
        return true;
    }

    const std::vector<tvrvar_shared> values;
    tvrvar& less;
    std::vector<tvrvar_shared> args;
    places order;
    places merged;
};

bool same_entries(const tvr_std_json& list, const std::vector<tvrvar_shared>& values) {
    if (list.size() != values.size()) return false;
    for (size_t i = 0; i < values.size(); ++i) {
        if (list.entries[i].value.get() != values[i].get()) return false;
    }
    return true;
}

}  // namespace

void tvr_sort_values(tvr_std_json& list) {
    std::vector<tvrvar_shared> values;
    values.reserve(list.size());
    for (size_t i = 0; i < list.size(); ++i) values.push_back(list.entries[i].value->deref());
    std::vector<sort_key> keys;
    keys.reserve(values.size());
    for (const tvrvar_shared& value : values) keys.push_back(key_of(*value));
    places order = in_order(keys.size());
    std::stable_sort(order.begin(), order.end(),
                     [&](uint32_t a, uint32_t b) { return is_less(keys[a], keys[b]); });
    rearrange(list, order);
}

bool tvr_sort_values(tvr_std_json& list, tvrvar& less) {
    script_sort sort(values_of(list), less);
    if (!sort.run()) return false;
    if (!same_entries(list, sort.sorted_values())) {
        runtime_error("std.sort: less has changed the list that is being sorted.");
        return false;
    }
    rearrange(list, sort.sorted_order());
    return true;
}
