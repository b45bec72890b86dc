#include "stdobj/json_unique.h"

#include <cmath>
#include <unordered_set>

#include "base/join.h"
#include "runtime/payload/json_visit.h"
#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json_bool.h"
#include "runtime/value/plain_value.h"

namespace {

using entry = tvr_std_json::entry;

// Equal numbers have one mark, whatever their type.
bool mark_float(double value, std::string& mark) {
    constexpr double int_limit = 9223372036854775808.0;  // 2^63
    if (std::isnan(value)) return false;                 // equal to nothing
    if (std::trunc(value) == value && std::fabs(value) < int_limit) {
        mark += tvr_join('i', int64_t(value), ';');
    } else {
        uint64_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        mark += tvr_join('f', bits, ';');
    }
    return true;
}

void mark_text(char kind, std::string_view text, std::string& mark) {
    mark += tvr_join(kind, text.size(), ':', text);
}

bool mark_value(tvrvar& variable, std::string& mark);

bool mark_json(const tvr_std_json& json, std::string& mark) {
    const tvr_json_visit visit(json);
    if (visit.is_repeated() || visit.is_too_deep()) return false;
    mark += '[';
    for (const entry& e : json.entries) {
        mark_text('k', e.name(), mark);
        if (!mark_value(*e.value, mark)) return false;
    }
    mark += ']';
    return true;
}

// Appends a text that is the same for equal values, and for these only. False for a value that has
// none, which has to be compared.
bool mark_value(tvrvar& variable, std::string& mark) {
    const tvr_plain_value value(variable);
    switch (value->type) {
    case tvrvar_type_none: mark += 'n'; return true;
    case tvrvar_type_int: mark += tvr_join('i', value->integer, ';'); return true;
    case tvrvar_type_float: return mark_float(value->real, mark);
    case tvrvar_type_string: mark_text('s', value->string_view(), mark); return true;
    case tvrvar_type_json: return mark_json(*value->object<tvr_std_json>(), mark);
    case tvrvar_type_class:
    case tvrvar_type_class_def:
        mark += tvr_join('c', reinterpret_cast<uintptr_t>(value->block), ';');
        return true;
    default: break;
    }
    auto* truth = value->object<tvr_std_json_bool>();
    return truth != nullptr && mark_value(*truth->value, mark);
}

// The values that were met so far.
class value_set {
public:
    // False when an equal one was there.
    bool insert(tvrvar& value) {
        mark.clear();
        if (mark_value(value, mark)) return marks.insert(mark).second;
        for (tvrvar* known : others) {
            if (known->compare_equal(value)) return false;
        }
        others.push_back(&value);
        return true;
    }

private:
    std::string mark;
    std::unordered_set<std::string> marks;
    std::vector<tvrvar*> others;
};

}  // namespace

void tvr_unique_entries(tvr_std_json& json) {
    if (json.size() < 2) return;
    const bool list = json.is_list();
    std::vector<tvrvar_shared> values;  // held, since comparing may ask native objects
    std::vector<bool> stays;
    value_set met_values;
    std::unordered_set<std::string> met_keys;
    for (const entry& e : json.entries) values.push_back(e.value);
    for (size_t i = 0; i < values.size() && i < json.size(); ++i) {
        const entry& e = json.entries[i];
        const bool is_new = list ? met_values.insert(*values[i])
                                 : !e.has_key() || met_keys.insert(std::string(e.name())).second;
        stays.push_back(is_new);
    }
    std::vector<entry> kept, gone;
    for (size_t i = 0; i < json.size(); ++i) {
        const bool keep = i >= stays.size() || stays[i];
        (keep ? kept : gone).push_back(std::move(json.entries[i]));
    }
    json.entries.swap(kept);
    json.entries_moved();
}
