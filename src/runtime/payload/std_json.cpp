#include "runtime/payload/std_json.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <unordered_set>

#include "runtime/local/error_sink.h"
#include "runtime/log/log.h"
#include "runtime/payload/json_text.h"
#include "runtime/value/payload_pools.h"

// From key to the position of the latest entry that carries it: open addressing with linear
// probing, at most half full. The keys are the entries' own. Removals end it.
struct tvr_std_json::key_index {
    struct place {
        uint32_t hash = 0;
        uint32_t entry = 0;  // its position and one; 0 for a free place
    };

    // Keys are short: up to 16 bytes are read as words, which may overlap, and stirred.
    static uint32_t hash_of(std::string_view key) {
        constexpr size_t two_words = 16;
        if (key.size() > two_words) return uint32_t(std::hash<std::string_view>()(key));
        uint64_t first = 0, last = 0;
        if (key.size() >= sizeof first) {
            std::memcpy(&first, key.data(), sizeof first);
            std::memcpy(&last, key.data() + key.size() - sizeof last, sizeof last);
        } else if (key.size() >= sizeof(uint32_t)) {
            uint32_t front = 0, back = 0;
            std::memcpy(&front, key.data(), sizeof front);
            std::memcpy(&back, key.data() + key.size() - sizeof back, sizeof back);
            first = uint64_t(front) << 32 | back;
        } else {
            for (const char c : key) first = first << 8 | uint8_t(c);
        }
        constexpr uint64_t odd = 0x9E3779B97F4A7C15, other = 0xD6E8FEB86659FD93;
        uint64_t h = (first + key.size()) * odd;
        h = (h ^ h >> 32 ^ last) * other;
        return uint32_t(h ^ h >> 32);
    }

    // The place of a key, or the free one where it belongs.
    place& find(std::string_view key, uint32_t hash, const std::vector<entry>& all) {
        for (size_t at = hash & (places.size() - 1);; at = (at + 1) & (places.size() - 1)) {
            place& here = places[at];
            if (here.entry == 0) return here;
            if (here.hash == hash && quickcompare(all[here.entry - 1].name(), key)) return here;
        }
    }

    // The place that points at an entry.
    place& find_place(uint32_t hash, size_t position) {
        size_t at = hash & (places.size() - 1);
        while (places[at].entry != position + 1) at = (at + 1) & (places.size() - 1);
        return places[at];
    }

    // Takes a place out and closes the gap: whoever was pushed on by it moves back.
    void take_out(place& gone) {
        const size_t mask = places.size() - 1;
        auto gap = size_t(&gone - places.data());
        for (size_t at = (gap + 1) & mask; places[at].entry != 0; at = (at + 1) & mask) {
            const size_t wanted = places[at].hash & mask;
            if (((at - wanted) & mask) < ((at - gap) & mask)) continue;
            places[gap] = places[at];
            gap = at;
        }
        places[gap] = {};
        --used;
    }

    void put(size_t position, const std::vector<entry>& all) {
        const std::string_view key = all[position].name();
        const uint32_t hash = hash_of(key);
        place& here = find(key, hash, all);
        if (here.entry == 0) ++used;
        here = {hash, uint32_t(position + 1)};
        last = position;
    }

    // Whether a key is that of the entry that was found last: what is read is often written next.
    bool is_last(std::string_view key, const std::vector<entry>& all) const {
        return last < all.size() && quickcompare(all[last].name(), key);
    }

    bool full() const { return used * 2 >= places.size(); }

    std::vector<place> places;
    size_t used = 0;
    size_t last = 0;  // the entry that was found or put last; its key finds no other
};

tvr_std_json::tvr_std_json() = default;
tvr_std_json::~tvr_std_json() = default;

void tvr_std_json::make_index() {
    auto made = std::make_unique<key_index>();
    made->places.resize(std::bit_ceil(keyed * 3));  // may find no memory: none is better than half
    for (size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].has_key()) made->put(i, entries);
    }
    lookup = std::move(made);
}

size_t tvr_std_json::place_of(std::string_view key) {
    constexpr size_t most_scanned = 12;  // keys, beyond which hashing is faster
    if (keyed == 0 || key.empty()) return nowhere;
    if (keyed > most_scanned) {
        if (lookup == nullptr) make_index();
        if (lookup->is_last(key, entries)) return lookup->last;
        const auto found = lookup->find(key, key_index::hash_of(key), entries);
        if (found.entry == 0) return nowhere;
        return lookup->last = found.entry - 1;
    }
    for (size_t i = entries.size(); i-- > 0;) {
        if (entries[i].has_key() && quickcompare(entries[i].name(), key)) return i;
    }
    return nowhere;
}

tvr_compact_value* tvr_std_json::find_entry(std::string_view key) {
    const size_t place = place_of(key);
    return place != nowhere ? &entries[place].value : nullptr;
}

tvr_compact_value& tvr_std_json::entry_for(std::string_view key) {
    tvr_compact_value* found = find_entry(key);
    return found != nullptr ? *found : create_member(key);
}

tvrvar_shared tvr_std_json::get_member(int64_t place) {
    const auto count = int64_t(entries.size());
    if (place < 0) place += count;
    if (place >= 0 && place < count) return entries[size_t(place)].value;
    runtime_error("Out of bounds access.");
    return tvrvar_shared::make();
}

tvr_compact_value& tvr_std_json::create_member() {
    return entries.emplace_back().value;
}

tvr_compact_value& tvr_std_json::create_member(std::string_view key) {
    return create_member(tvr_json_key(key));
}

tvr_compact_value& tvr_std_json::create_member(const tvr_json_key& key) {
    add_entry({}, key);
    return entries.back().value;
}

void tvr_std_json::add_member(tvrvar_shared value, std::string_view key) {
    add_member(std::move(value), tvr_json_key(key));
}

void tvr_std_json::add_member(tvrvar_shared value, tvr_json_key key) {
    add_entry(tvr_compact_value(value), std::move(key));
}

void tvr_std_json::add_entry(tvr_compact_value value, tvr_json_key key) {
    entries.push_back({std::move(key), std::move(value)});
    if (!entries.back().has_key()) return;
    ++keyed;
    if (lookup == nullptr) return;
    if (lookup->full()) return lookup.reset();
    lookup->put(entries.size() - 1, entries);
}

void tvr_std_json::set(std::string_view key, tvrvar_shared value) {
    const size_t place = place_of(key);
    if (place == nowhere) return add_member(std::move(value), key);
    entries[place].value = value;
}

void tvr_std_json::set(tvr_std_json& other) {
    if (&other == this) return;
    clear();
    for (size_t i = 0; i < other.entries.size(); ++i) {
        const entry& from = other.entries[i];
        tvr_json_key key = from.key;
        const tvrvar_shared held(from.value.is_variable() ? from.value.variable() : nullptr);
        add_entry(from.value.copy(), std::move(key));  // copying may change `other`
    }
}

void tvr_std_json::entries_moved() {
    lookup.reset();
    const auto has_key = [](const entry& e) { return e.has_key(); };
    keyed = size_t(std::count_if(entries.begin(), entries.end(), has_key));
}

// The index stays only when the last entry goes and no other has its key: nothing moves then.
void tvr_std_json::forget_place(const entry& gone, size_t place) {
    const bool is_last = place == entries.size();
    if (lookup != nullptr && is_last && gone.has_key() && lookup->used == keyed) {
        const std::string_view key = gone.name();
        lookup->take_out(lookup->find_place(key_index::hash_of(key), place));
    } else if (gone.has_key() || !is_last) {
        lookup.reset();
    }
    if (gone.has_key()) --keyed;
}

bool tvr_std_json::erase(int64_t place) {
    const auto count = int64_t(entries.size());
    if (place < 0) place += count;
    if (place < 0 || place >= count) return false;
    const auto at = entries.begin() + place;
    const entry gone = std::move(*at);  // ends last, when this container is whole again
    entries.erase(at);
    forget_place(gone, size_t(place));
    return true;
}

bool tvr_std_json::erase(std::string_view key) {
    if (place_of(key) == nowhere) {
        tvr_log().verbose("Key ", key, " does not exist!");
        return false;
    }
    const std::string wanted(key);  // the caller's may be one of those that go
    const auto stays = [&](const entry& e) { return !quickcompare(e.name(), wanted); };
    lookup.reset();
    const auto first_gone = std::stable_partition(entries.begin(), entries.end(), stays);
    const std::vector<entry> gone(std::make_move_iterator(first_gone),
                                  std::make_move_iterator(entries.end()));
    entries.erase(first_gone, entries.end());
    keyed -= gone.size();
    return true;
}

namespace {

using json_pointer = tvrptr_strong<tvr_std_json>;

// A json and what hangs on it, each once, whatever the shape. `enter` is called before the values
// of a json are looked at.
template <typename ENTER>
std::vector<json_pointer> walk(tvr_std_json& from, ENTER enter) {
    std::vector<json_pointer> met{json_pointer(&from)};
    std::unordered_set<const tvr_std_json*> known{&from};
    for (size_t i = 0; i < met.size(); ++i) {
        tvr_std_json& json = *met[i];
        enter(json);
        for (const tvr_std_json::entry& e : json.entries) {
            if (!e.value.is_variable()) continue;
            auto* below = e.value->object<tvr_std_json>();
            if (below != nullptr && known.insert(below).second) met.emplace_back(below);
        }
    }
    return met;
}

}  // namespace

void tvr_std_json::remove_key(std::string_view key) {
    const std::string wanted(key);
    walk(*this, [&](tvr_std_json& json) { json.erase(std::string_view(wanted)); });
}

void tvr_std_json::clear_free() {
    for (const json_pointer& json : walk(*this, [](tvr_std_json&) {})) json->clear();
}

// The values go when the container is empty already: what ends with them may come back to it.
void tvr_std_json::clear() {
    constexpr size_t most_kept = 64;  // entries whose memory waits for the next ones
    lookup.reset();
    keyed = 0;
    std::vector<entry> gone;
    gone.swap(entries);
    gone.clear();
    if (entries.empty() && gone.capacity() <= most_kept) entries.swap(gone);
}

void tvr_std_json::dispose() {
    clear();
    tvr_pool_give(this);
}

void tvr_std_json::op_set_member(std::string_view key, tvrvar_shared value) {
    get_member(key)->set(value);
}

void tvr_std_json::op_set_member(int64_t place, tvrvar_shared value) {
    get_member(place)->set(value);
}

bool tvr_std_json::from_string(std::string_view text, bool quiet) {
    clear();
    if (text.empty()) return false;
    tvrvar parsed;
    if (!tvr_parse_json(text, parsed, quiet)) return false;
    if (parsed.type != tvrvar_type_json) {
        create_member()->take(parsed);
        return true;
    }
    auto& other = *parsed.object<tvr_std_json>();
    entries.swap(other.entries);
    std::swap(keyed, other.keyed);
    lookup.swap(other.lookup);
    parsed.as_none();
    return true;
}

std::string tvr_std_json::to_string(bool compact) {
    std::string out;
    tvrjson_to_json(*this, out, compact);
    return out;
}

std::string tvr_std_json::debug_refs_string(bool compact) {
    std::string out;
    tvrjson_to_debug_refs_json(*this, out, compact);
    return out;
}

void tvrvar::from_string(std::string_view json_text) {
    tvrvar parsed;
    tvr_parse_json(json_text, parsed, false);
    take(parsed);
}
