#pragma once

// The plain value behind a variable, for as long as a scope looks at it.
//
// A plain variable is used as it stands and not counted: the caller keeps it anyway. Whatever a
// reference or a member handle leads to is held until the end of the scope.

#include "runtime/value/value.h"

class tvr_plain_value {
public:
    explicit tvr_plain_value(tvrvar& variable) : value(&variable) {
        if (!variable.is_plain()) [[unlikely]] {
            kept = variable.deref();
            value = kept.get();
        }
    }
    tvr_plain_value(const tvr_plain_value&) = delete;
    tvr_plain_value& operator=(const tvr_plain_value&) = delete;

    tvrvar* operator->() const { return value; }
    tvrvar& operator*() const { return *value; }
    tvrvar* get() const { return value; }

private:
    tvrvar_shared kept;
    tvrvar* value;
};
