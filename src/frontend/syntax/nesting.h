#pragma once

// How deep source text may nest, so that neither a compile nor a later walk over its tree can
// run out of stack.
//
// A level is what a person would call one: a bracket, a body without braces, the right side of an
// operator, of an assignment or of `?:`, a prefix operator, a #define inside a #define. Chains that
// only grow to the left (a + b + c, a.b.c, else if) take none. A level costs at most 2 KB of
// stack, under a sanitizer too, so that a thread with 512 KB can compile.

#include <cstdint>

inline constexpr uint32_t tvr_max_nesting = 200;

#define TVR_NESTING_MESSAGE "Code is nested too deeply (limit 200)."

// One level for the length of a scope.
class tvr_nesting_level {
public:
    explicit tvr_nesting_level(uint32_t& counter) : depth(counter) { ++depth; }
    ~tvr_nesting_level() { --depth; }
    tvr_nesting_level(const tvr_nesting_level&) = delete;
    tvr_nesting_level& operator=(const tvr_nesting_level&) = delete;

    bool too_deep() const { return depth > tvr_max_nesting; }

private:
    uint32_t& depth;
};
