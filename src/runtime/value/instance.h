#pragma once

// What a value asks of an instance of a script class. tvr_class, some floors up, answers.

#include <string_view>

#include "runtime/memory/pointer.h"
#include "runtime/value/value.h"

class tvr_instance : public tvrptr_base_internal {
public:
    virtual std::string_view class_name() const = 0;

    // The member's variable; a name that is none is a runtime error and gives none.
    virtual tvrvar_shared get_member(std::string_view name) = 0;
    virtual bool has_member(std::string_view name) const = 0;
};
