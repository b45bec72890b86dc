// Comparison, by the rule of the larger of the two types.

#include "runtime/local/error_sink.h"
#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "runtime/value/plain_value.h"
#include "runtime/value/records.h"
#include "runtime/value/value.h"

#include <algorithm>

namespace {

// Containers and objects that are compared inside of each other on this thread. Deeper ones are
// not equal: a ring would have no end. Once that is met, the whole comparison is decided: objects
// may ask both sides at every level, and all those ways together would never end either.
class nested_comparison {
public:
    nested_comparison() {
        if (++now().depth > max_depth) now().gave_up = true;
    }
    ~nested_comparison() {
        if (--now().depth == 0) now().gave_up = false;
    }
    nested_comparison(const nested_comparison&) = delete;
    nested_comparison& operator=(const nested_comparison&) = delete;

    static bool too_deep() { return now().gave_up; }

private:
    static constexpr uint32_t max_depth = 1024;
    struct state {
        uint32_t depth = 0;
        bool gave_up = false;
    };
    static state& now() {
        static constinit thread_local state of_thread;
        return of_thread;
    }
};

bool equal_at(tvrvar& left, tvrvar& right);

tvr_std_json& json_of(const tvrvar& value) {
    return *static_cast<tvr_std_json*>(value.block->object);
}

bool equal_text(tvrvar& left, tvrvar& right) {
    std::string left_text, right_text;
    return left.text_view(left_text) == right.text_view(right_text);
}

bool equal_binary(const tvrvar& left, const tvrvar& right) {
    if (left.type != right.type) return false;
    const auto& a = *static_cast<tvr_std_buffer*>(left.block->object);
    const auto& b = *static_cast<tvr_std_buffer*>(right.block->object);
    if (!a.readable() || !b.readable()) return false;
    return &a == &b || a.bytes == b.bytes;
}

bool equal_entries(const tvr_std_json& a, const tvr_std_json& b) {
    if (&a == &b) return true;
    if (a.size() != b.size()) return false;
    const nested_comparison nested;
    if (nested_comparison::too_deep()) return false;
    // By position, and anew each time: what an object compares may change either of the two.
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
        if (a.entries[i].name() != b.entries[i].name()) return false;
        const tvrvar_shared left = a.entries[i].value, right = b.entries[i].value;
        if (!equal_at(*left, *right)) return false;
    }
    return a.size() == b.size();
}

bool equal_json(tvrvar& left, tvrvar& right) {
    if (left.type == right.type) return equal_entries(json_of(left), json_of(right));
    const bool left_is_json = left.type == tvrvar_type_json;
    const tvrvar& other = left_is_json ? right : left;
    if (other.type != tvrvar_type_int) return false;
    return int64_t(json_of(left_is_json ? left : right).size()) == other.integer;
}

bool equal_object(tvrvar& left, tvrvar& right) {
    tvrobject_base* a = left.type == tvrvar_type_object ? left.object_ptr() : nullptr;
    tvrobject_base* b = right.type == tvrvar_type_object ? right.object_ptr() : nullptr;
    if (a != nullptr && a == b) return true;
    const nested_comparison nested;
    if (nested_comparison::too_deep()) return false;
    if (a != nullptr && a->op_compare_equal(right)) return true;
    return b != nullptr && b->op_compare_equal(left);
}

bool equal_function(const tvrvar& left, const tvrvar& right) {
    if (left.type != right.type) return false;
    const tvrvar_ptr_function &a = *left.function, &b = *right.function;
    const auto is_empty = [](const auto& pointer) {
        return !pointer.control_block()->holds_object();
    };
    return a.routine == b.routine && a.self == b.self &&
           (a.task == b.task || is_empty(a.task) || is_empty(b.task));
}

bool equal_ext_function(const tvrvar& left, const tvrvar& right) {
    if (left.type != right.type) return false;
    const tvrvar_ptr_ext_function &a = *left.ext_function, &b = *right.ext_function;
    return a.definition == b.definition && a.object == b.object;
}

bool equal_plain(tvrvar& left, tvrvar& right) {
    switch (const uint8_t larger = std::max(left.type, right.type)) {
    case tvrvar_type_error:
    case tvrvar_type_none: return left.type == right.type;
    case tvrvar_type_int: return left.int_value() == right.int_value();
    case tvrvar_type_float: return left.float_value() == right.float_value();
    case tvrvar_type_string: return equal_text(left, right);
    case tvrvar_type_binary: return equal_binary(left, right);
    case tvrvar_type_json: return equal_json(left, right);
    case tvrvar_type_object: return equal_object(left, right);
    case tvrvar_type_class:
    case tvrvar_type_class_def: return left.type == right.type && left.block == right.block;
    case tvrvar_type_function: return equal_function(left, right);
    case tvrvar_type_ext_function: return equal_ext_function(left, right);
    default:
        if (!left.is_none() && !right.is_none()) {
            runtime_warning("Compare_equal not implemented for type: ", tvrvar_type_name(larger));
        }
        return false;
    }
}

bool equal_at(tvrvar& left, tvrvar& right) {
    const tvr_plain_value a(left), b(right);
    return equal_plain(*a, *b);
}

bool smaller_text(tvrvar& left, tvrvar& right, bool or_equal) {
    std::string left_text, right_text;
    const int order = left.text_view(left_text).compare(right.text_view(right_text));
    return order < 0 || (or_equal && order == 0);
}

template <typename T>
bool smaller_number(T left, T right, bool or_equal) {
    return or_equal ? left <= right : left < right;
}

tvrobject_base* live_object(tvrvar& value) {
    return value.type == tvrvar_type_object ? value.object_ptr() : nullptr;
}

bool object_smaller(tvrvar& left, tvrvar& right, bool or_equal) {
    tvrobject_base *a = live_object(left), *b = live_object(right);
    return (a != nullptr && a->op_compare_smaller(right, or_equal)) ||
           (b != nullptr && b->op_compare_bigger(left, or_equal));
}

bool object_bigger(tvrvar& left, tvrvar& right, bool or_equal) {
    tvrobject_base *a = live_object(left), *b = live_object(right);
    return (a != nullptr && a->op_compare_bigger(right, or_equal)) ||
           (b != nullptr && b->op_compare_smaller(left, or_equal));
}

enum class ordering { has_order, asks_object, has_none };

ordering ordering_of(uint8_t larger) {
    const bool ordered = larger >= tvrvar_type_int && larger <= tvrvar_type_string;
    if (ordered) return ordering::has_order;
    return larger == tvrvar_type_object ? ordering::asks_object : ordering::has_none;
}

// `larger` has an order of its own.
bool smaller_plain(tvrvar& left, tvrvar& right, uint8_t larger, bool or_equal) {
    if (larger == tvrvar_type_string) return smaller_text(left, right, or_equal);
    if (larger == tvrvar_type_float) {
        return smaller_number(left.float_value(), right.float_value(), or_equal);
    }
    return smaller_number(left.int_value(), right.int_value(), or_equal);
}

}  // namespace

bool tvrvar::compare_equal(tvrvar& other) {
    if (type == tvrvar_type_int && other.type == tvrvar_type_int) return integer == other.integer;
    if (type == tvrvar_type_float && other.type == tvrvar_type_float) return real == other.real;
    return equal_at(*this, other);
}

bool tvrvar::json_equal(tvrvar& other) {
    const tvr_plain_value left(*this), right(other);
    if (left->type != tvrvar_type_json || right->type != tvrvar_type_json) return false;
    return equal_entries(json_of(*left), json_of(*right));
}

bool tvrvar::compare_smaller(tvrvar& other, bool or_equal) {
    if (type == tvrvar_type_int && other.type == tvrvar_type_int) {
        return smaller_number(integer, other.integer, or_equal);
    }
    const tvr_plain_value left(*this), right(other);
    const uint8_t larger = std::max(left->type, right->type);
    switch (ordering_of(larger)) {
    case ordering::has_order: return smaller_plain(*left, *right, larger, or_equal);
    case ordering::asks_object: return object_smaller(*left, *right, or_equal);
    case ordering::has_none: break;
    }
    runtime_warning("Compare_smaller not implemented for type: ", tvrvar_type_name(larger));
    return false;
}

bool tvrvar::compare_bigger(tvrvar& other, bool or_equal) {
    if (type == tvrvar_type_int && other.type == tvrvar_type_int) {
        return smaller_number(other.integer, integer, or_equal);
    }
    const tvr_plain_value left(*this), right(other);
    const uint8_t larger = std::max(left->type, right->type);
    switch (ordering_of(larger)) {
    case ordering::has_order: return smaller_plain(*right, *left, larger, or_equal);
    case ordering::asks_object: return object_bigger(*left, *right, or_equal);
    case ordering::has_none: break;
    }
    runtime_warning("Compare_bigger not implemented for type: ", tvrvar_type_name(larger));
    return false;
}
