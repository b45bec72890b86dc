#pragma once

// A json on the path of a recursion over nested jsons, for as long as a scope lasts.
//
//     const tvr_json_visit visit(json);
//     if (visit.is_repeated() || visit.is_too_deep()) return;
//
// The path is this thread's; its scopes end in the reverse order. Script thread.

#include <cstddef>

#include "runtime/payload/json_text.h"

class tvr_json_visit {
public:
    explicit tvr_json_visit(const tvr_std_json& entered)
        : json(&entered), outer(innermost()), depth(outer != nullptr ? outer->depth + 1 : 1) {
        innermost() = this;
    }
    ~tvr_json_visit() { innermost() = outer; }
    tvr_json_visit(const tvr_json_visit&) = delete;
    tvr_json_visit& operator=(const tvr_json_visit&) = delete;

    // Whether the json stood on the path already.
    bool is_repeated() const {
        for (const tvr_json_visit* at = outer; at != nullptr; at = at->outer) {
            if (at->json == json) return true;
        }
        return false;
    }

    bool is_too_deep() const { return depth > tvr_max_json_depth; }

private:
    static const tvr_json_visit*& innermost() {
        static constinit thread_local const tvr_json_visit* of_thread = nullptr;
        return of_thread;
    }

    const tvr_std_json* const json;
    const tvr_json_visit* const outer;
    const size_t depth;
};
