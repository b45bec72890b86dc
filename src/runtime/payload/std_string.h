#pragma once

// The text behind a value of type string. A string variable owns its text: assignment copies it.
// Its script methods stand in stdobj/. Script thread.

#include <string>

#include "runtime/local/pool_set.h"
#include "runtime/object/object.h"

class tvr_std_string : public tvrobject<tvr_std_string, "std.string"> {
public:
    static void script_register(tvrobject_metadata& metadata);  // stdobj/

    std::string to_string() override { return text; }
    std::string_view to_string_view() override { return text; }
    int64_t op_get_size() override { return int64_t(text.size()); }
    bool op_is_none() override { return text.empty(); }
    // The byte at a place, from the end when negative, as a text of its own.
    tvrvar_shared op_get_member(int64_t index) override;
    // A method as a value is bound to the text as it is now.
    tvrvar_shared op_get_member(std::string_view name) override;
    // Puts the first character of a value in a byte's place, from the end when negative. A place
    // outside is moved to the nearest one, with a warning; nothing happens to an empty text.
    void op_set_member(int64_t index, tvrvar_shared value) override;
    // Puts the text of a value in the place of the first `key`, where there is one.
    void op_set_member(std::string_view key, tvrvar_shared value) override;
    using tvrobject_base::op_get_member;
    using tvrobject_base::op_set_member;

    std::string text;
    uint8_t slot = tvr_not_pooled;

protected:
    void dispose() override;  // back to the pool, emptied
};

template <>
struct tvr_pool_traits<tvr_std_string> {
    static constexpr tvr_pool_kind kind = tvr_pool_kind::strings;
    using pool = tvr_pool_threadsafe<tvr_std_string, tvr_pool_chunk_static<tvr_std_string>>;
};
