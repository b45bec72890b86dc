#pragma once

// A native function as scripts see it.
//
// Lives in the metadata of a native class, outside any interpreter, so that interpreters on several
// threads share one; or in a namespace of one interpreter, and goes with that. It does not change
// once it is registered.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "runtime/memory/pointer.h"
#include "runtime/value/value.h"

class tvr_vm_context;
class tvrobject_base;

using tvr_native_args = std::vector<tvrvar_shared>;

// Takes the bound object (null for a plain function), the calling frame and the arguments, at
// least min_params and at most max_params of them. Reports by runtime_error() and returns none,
// or throws a std::exception, which the machine turns into a runtime error. Script thread.
using tvr_native_function =
    std::function<tvrvar_shared(tvrobject_base*, tvr_vm_context&, tvr_native_args&)>;

// What a person can read about a function. Parameters have the form "name: type - text".
struct tvr_function_docs {
    std::string description = {};
    std::vector<std::string> params = {};
    std::string returns_class = {};  // name of the class of the result, empty for any
    std::vector<std::string> examples = {};
};

// Functions that the machine does itself where it sees what they are asked for, without a call.
enum class tvr_intrinsic : uint8_t {
    none,
    json_push,  // of a list without keys, when nobody reads the result
    size,       // of a json
};

struct tvr_function_def : tvrptr_base_internal {
    static constexpr uint32_t any_number = 0xFFFFFFFF;

    bool tvr_pooled_control_block() const override { return false; }
    bool tvr_outside_interpreters() const override { return shared; }

    bool shared = true;  // false in a namespace; set before anybody points here
    std::string name;
    tvr_native_function callback;
    uint32_t min_params = 0;
    uint32_t max_params = 0;
    tvr_intrinsic intrinsic = tvr_intrinsic::none;
    // A method that changes the string or buffer that it is called on, and returns it.
    bool changes_receiver = false;
    tvr_function_docs docs;
    std::vector<const tvr_function_def*> children;  // below it in the documentation
};
