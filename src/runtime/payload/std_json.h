#pragma once

// The one container of the language: an ordered list of entries, each a value with a key or
// without one. Lists have no keys, maps have them all, and both may be mixed.
//
// Shared by assignment. Lookup by key goes through a hash index that is built on demand, when a
// container with more than a few keys is asked for one; walking it while it changes is defined:
// indices stay what they are. Script methods stand in stdobj/. Script thread.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/local/pool_set.h"
#include "runtime/object/object.h"

class tvr_std_json : public tvrobject<tvr_std_json, "std.json"> {
public:
    struct entry {
        std::string key;  // meant only where has_key
        bool has_key = false;
        tvrvar_shared value;
    };

    static void script_register(tvrobject_metadata& metadata);  // stdobj/

    size_t size() const { return entries.size(); }
    bool is_list() const { return keyed == 0; }

    // The value under a key, null without one.
    tvrvar* find(std::string_view key);
    // The value under a key, made as none when it is missing.
    tvrvar_shared& get_or_add(std::string_view key);
    // Puts a value under a key, replacing the one there, or behind all others without a key.
    void set(std::string_view key, tvrvar_shared value);
    void push_back(tvrvar_shared value);
    void clear();

    std::string to_string() override;  // compact JSON text
    int64_t op_get_size() override { return int64_t(entries.size()); }

    std::vector<entry> entries;
    uint8_t slot = tvr_not_pooled;

protected:
    void dispose() override;  // back to the pool, emptied

private:
    struct key_index;
    size_t keyed = 0;                  // entries with a key
    std::unique_ptr<key_index> index;  // null until it pays
};

template <>
struct tvr_pool_traits<tvr_std_json> {
    static constexpr tvr_pool_kind kind = tvr_pool_kind::json_values;
    using pool = tvr_pool_threadsafe<tvr_std_json, tvr_pool_chunk_static<tvr_std_json>>;
};
