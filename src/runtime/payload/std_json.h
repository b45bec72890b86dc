#pragma once

// The one container of the language: an ordered list of entries, each a value with a key or
// without one. Lists have no keys, maps have them all, and both may be mixed.
//
// Shared by assignment. A key may stand several times; the latest entry is the one that it finds.
// Lookup goes through a hash index that is built on demand, when a container with more than a few
// keys is asked for one. Walking it by position while it changes is defined: every position is
// read when it is reached. Script methods stand in stdobj/, text in json_text.h. Script thread.

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/local/pool_set.h"
#include "runtime/object/object.h"
#include "runtime/payload/json_key.h"
#include "runtime/value/compact_value.h"

class tvr_std_json : public tvrobject<tvr_std_json, "std.json"> {
public:
    // A key once given does not change. An empty one is none: two words are all a list pays.
    struct entry {
        tvr_json_key key;
        tvr_compact_value value;

        std::string_view name() const { return key.text(); }
        bool has_key() const { return bool(key); }
    };

    static void script_register(tvrobject_metadata& metadata);  // stdobj/

    tvr_std_json();
    ~tvr_std_json() override;

    size_t size() const { return entries.size(); }
    bool is_list() const { return keyed == 0; }

    // The value under a key, null without one. That of an entry is valid until the next change.
    tvr_compact_value* find_entry(std::string_view key);
    tvrvar* find(std::string_view key) {
        const tvr_compact_value* found = find_entry(key);
        return found != nullptr ? found->get() : nullptr;
    }
    bool has(std::string_view key) { return find_entry(key) != nullptr; }

    // The value under a key, made as none when it is missing.
    tvrvar_shared get_member(std::string_view key) { return entry_for(key); }
    tvr_compact_value& entry_for(std::string_view key);
    // By position, from the end when negative; outside it is a runtime error and a new none.
    tvrvar_shared get_member(int64_t index);

    // Appends a none and returns its place, which is valid until the next change.
    tvr_compact_value& create_member();
    tvr_compact_value& create_member(std::string_view key);
    tvr_compact_value& create_member(const tvr_json_key& key);
    // Appends without looking for an older entry of that key.
    void add_member(tvrvar_shared value, std::string_view key = {});
    void add_member(tvrvar_shared value, tvr_json_key key);
    void push_back(const tvrvar_shared& value) { add_entry(tvr_compact_value(value), {}); }
    void add_entry(tvr_compact_value value, tvr_json_key key);

    // Puts a value under a key, replacing the one there, or behind all others without a key.
    void set(std::string_view key, tvrvar_shared value);
    // Copies the entries of another one, each into a variable of its own.
    void set(tvr_std_json& other);

    // False when there is no such entry. By key it removes all that carry it.
    bool erase(int64_t index);
    bool erase(std::string_view key);
    void clear();
    // Removes all entries under a key here and in every json below, each of which is entered once.
    void remove_key(std::string_view key);
    // Empties this one and every json below, so that rings of them let go of each other.
    void clear_free();
    // To be called by who has moved entries about in the vector, or taken some out.
    void entries_moved();

    // Replaces the entries by those of a JSON text; a scalar becomes one entry. False, with the
    // container empty, for what is no JSON; the reason goes to the log, and text that is nested
    // too deeply is a runtime error; neither when `quiet`.
    bool from_string(std::string_view text, bool quiet);
    // JSON text on one line or with indents of four.
    std::string to_string(bool compact);
    std::string to_string() override { return to_string(false); }
    // The same with {"is_ref", "refcount", "type"} in the place of every value, and the entries of
    // a json in it under "value".
    std::string debug_refs_string(bool compact);

    // Equality of keys: short ones without a call.
    static bool quickcompare(std::string_view a, std::string_view b);

    // See binary_value.h. Reading replaces the entries; on damaged bytes those before them stay.
    bool to_binary(std::vector<uint8_t>& out) override;
    bool from_binary(tvr_serialization::reader& in) override;

    tvrvar_shared op_get_member(std::string_view key) override { return get_member(key); }
    tvrvar_shared op_get_member(int64_t index) override { return get_member(index); }
    void op_set_member(std::string_view key, tvrvar_shared value) override;
    void op_set_member(int64_t index, tvrvar_shared value) override;
    using tvrobject_base::op_get_member;
    using tvrobject_base::op_set_member;
    bool op_has_member(std::string_view key) override { return has(key); }
    bool op_has_member(int64_t index) override {
        return index >= 0 && size_t(index) < entries.size();
    }
    using tvrobject_base::op_has_member;
    bool op_is_none() override { return entries.empty(); }
    int64_t op_get_size() override { return int64_t(entries.size()); }

    std::vector<entry> entries;  // values may be exchanged from outside, keys may not
    uint8_t slot = tvr_not_pooled;

protected:
    void dispose() override;  // back to the pool, emptied

private:
    struct key_index;
    static constexpr size_t nowhere = size_t(-1);

    size_t place_of(std::string_view key);
    void make_index();
    void forget_place(const entry& gone, size_t place);

    size_t keyed = 0;                   // entries with a key
    std::unique_ptr<key_index> lookup;  // null until it pays, and after a removal
};

// The end comes first: keys of one json often begin alike.
inline bool tvr_std_json::quickcompare(std::string_view a, std::string_view b) {
    constexpr size_t word = sizeof(uint64_t);
    const size_t size = a.size();
    if (size != b.size()) return false;
    const auto differ = [&](size_t at) {
        uint64_t x, y;
        std::memcpy(&x, a.data() + at, word);
        std::memcpy(&y, b.data() + at, word);
        return x != y;
    };
    if (size >= word) {
        if (differ(size - word)) return false;
        for (size_t at = 0; at + word < size; at += word) {
            if (differ(at)) return false;
        }
        return true;
    }
    for (size_t at = size; at-- > 0;) {
        if (a[at] != b[at]) return false;
    }
    return true;
}

template <>
struct tvr_pool_traits<tvr_std_json> {
    static constexpr tvr_pool_kind kind = tvr_pool_kind::json_values;
    using pool = tvr_pool_threadsafe<tvr_std_json, tvr_pool_chunk_static<tvr_std_json>>;
};
