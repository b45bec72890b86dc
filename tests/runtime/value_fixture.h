#pragma once

// A thread that runs scripts, with what it reports, for tests of values.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "bound_thread.h"
#include "runtime/local/error_sink.h"
#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_string.h"
#include "runtime/value/instance.h"
#include "runtime/value/records.h"
#include "runtime/value/value.h"

namespace tavro::test {

class remembering_sink : public tvr_error_sink {
public:
    void on_runtime_error(const std::string& message) override { errors.push_back(message); }
    void on_runtime_warning(const std::string& message) override { warnings.push_back(message); }

    std::vector<std::string> errors, warnings;
};

// Every test must have expected all that was reported, and must leave empty pools.
class value_test : public testing::Test {
protected:
    value_test() { tvr_local().errors = &sink; }
    ~value_test() override {
        thread.pools.collect_garbage();
        EXPECT_EQ(said(), "");
        EXPECT_EQ(thread.log.lines(), std::vector<std::string>());
        for (size_t kind = 0; kind < size_t(tvr_pool_kind::count); ++kind) {
            EXPECT_EQ(thread.pools.live(tvr_pool_kind(kind)), 0u)
                << tvr_pool_name(tvr_pool_kind(kind));
        }
        tvr_local().errors = nullptr;
    }

    // What was reported since the last call: errors as "E text", warnings as "W text".
    std::string said() {
        std::string all;
        for (const auto& text : std::exchange(sink.errors, {})) all += "E " + text + "|";
        for (const auto& text : std::exchange(sink.warnings, {})) all += "W " + text + "|";
        return all;
    }

    static tvrvar_shared none() { return tvrvar_shared::make(); }
    static tvrvar_shared binary(std::string_view bytes) {
        tvrvar_shared made = none();
        made->as_binary(bytes);
        return made;
    }
    static tvrvar_shared json(std::string_view text) {
        tvrvar_shared made = none();
        made->from_string(text);
        return made;
    }
    static tvrvar_shared ref(tvrvar_shared target) {
        tvrvar_shared made = none();
        made->ref_to(target);
        return made;
    }
    static tvrvar_shared object(tvrobject_base* native) {
        tvrvar_shared made = none();
        made->as_object(native);
        return made;
    }
    // A value as a person would write it, with its type: "int 1", "json [1,2]".
    static std::string show(const tvrvar_shared& value) {
        const tvrvar_shared plain = value->deref();
        return std::string(tvrvar_type_name(plain->type)) + " " + plain->string_value();
    }

    bound_thread thread;
    remembering_sink sink;
};

// Native classes with a member each way, and operators that answer when they are asked.
class meter : public tvrobject<meter, "club.meter"> {
public:
    static void script_register(tvrobject_metadata& m) {
        add_function(m, "reset", &meter::reset, 0, 0, {.description = "Back to silence."});
        add_member(
            m, "level", [](meter& self) { return tvrvar_shared(self.level); },
            [](meter& self, tvrvar_shared& value) { self.level = value->int_value(); });
        add_getter(m, "peak", [](meter& self) { return tvrvar_shared(self.level * 2); });
    }
    tvrvar_shared reset(tvr_vm_context&, tvr_native_args&) { return level = 0; }

    using tvrobject_base::op_get_member;
    using tvrobject_base::op_set_member;
    tvrvar_shared op_get_member(int64_t index) override { return level + index; }
    void op_set_member(int64_t index, tvrvar_shared value) override {
        level = value->int_value() - index;
    }
    bool op_math_add_lhs(tvrvar& other, tvrvar& result) override {
        if (!other.is_number()) return false;
        result.as_int(level + other.int_value());
        return true;
    }
    bool op_math_sub_rhs(tvrvar& other, tvrvar& result) override {
        result.as_int(other.int_value() - level);
        return true;
    }
    bool op_compare_equal(tvrvar& other) override {
        return other.type == tvrvar_type_int && other.integer == level;
    }
    bool op_compare_bigger(tvrvar& other, bool or_equal) override {
        return other.type == tvrvar_type_int && level + (or_equal ? 1 : 0) > other.integer;
    }

    int64_t level = 5;
};

// An instance of a script class, as far as values look at it.
class test_instance : public tvr_instance {
public:
    std::string_view class_name() const override { return "lamp"; }
    tvrvar_shared get_member(std::string_view name) override {
        return name == "on" ? tvrvar_shared(1) : tvrvar_shared();
    }
    bool has_member(std::string_view name) const override { return name == "on"; }
};

}  // namespace tavro::test
