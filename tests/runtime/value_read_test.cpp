#include <cmath>
#include <functional>
#include <limits>

#include "runtime/value/number_text.h"
#include "runtime/value/operators.h"
#include "value_fixture.h"

using namespace tavro::test;

namespace {

constexpr int64_t int_max = std::numeric_limits<int64_t>::max();
constexpr int64_t int_min = std::numeric_limits<int64_t>::min();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(number_text, from_text) {
    struct row {
        const char* text;
        int64_t as_int;
        double as_float;
    };
    const row rows[] = {
        {"", 0, 0.0},
        {"12", 12, 12.0},
        {" \t\n-7 dB", -7, -7.0},
        {"+5", 5, 5.0},
        {"+-5", 0, 0.0},
        {"- 5", 0, 0.0},
        {"128.75 bpm", 128, 128.75},
        {"1e3", 1, 1000.0},
        {"1e", 1, 1.0},
        {"2e+x", 2, 2.0},
        {".5", 0, 0.5},
        {"5.", 5, 5.0},
        {"-.", 0, 0.0},
        {"0x10", 0, 0.0},
        {"inf", 0, 0.0},
        {"nan", 0, 0.0},
        {"9223372036854775807", int_max, 0x1p63},
        {"9223372036854775808", int_max, 0x1p63},
        {"-9223372036854775808", int_min, -0x1p63},
        {"-99999999999999999999999", int_min, -1e23},
        {"1e999", 1, infinity},
        {"-1e999", -1, -infinity},
        {"1e-999", 1, 0.0},
        {"0.00001e400", 0, infinity},
        {"0e999", 0, 0.0},
        {"1e99999999999999999999", 1, infinity},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.text);
        EXPECT_EQ(tvr_parse_int_prefix(r.text), r.as_int);
        EXPECT_EQ(tvr_parse_float_prefix(r.text), r.as_float);
    }
}

TEST(number_text, int_of_float) {
    EXPECT_EQ(tvr_int_of_float(-2.9), -2);
    EXPECT_EQ(tvr_int_of_float(NAN), 0);
    EXPECT_EQ(tvr_int_of_float(0x1p63), int_max);
    EXPECT_EQ(tvr_int_of_float(std::nextafter(0x1p63, 0.0)), int_max - 1023);
    EXPECT_EQ(tvr_int_of_float(-infinity), int_min);
}

TEST(operator_methods, places) {
    EXPECT_EQ(tvr_find_operator("__add__") + tvr_reversed_operator, tvr_find_operator("__radd__"));
    EXPECT_EQ(tvr_find_operator("__mod__") + tvr_reversed_operator, tvr_find_operator("__rmod__"));
    EXPECT_EQ(tvr_find_operator("__eq__"), 16);
    EXPECT_EQ(tvr_find_operator("__setitem__"), 24);
    EXPECT_EQ(tvr_find_operator("__pow__"), tvr_operator_count);
}

class value_read : public value_test {
protected:
    // The values of every type that holds one, made anew for each look.
    tvrvar_shared make(const std::string& what) {
        tvrvar_shared made = none();
        if (what == "error") made->type = tvrvar_type_error;
        if (what == "int") made->as_int(7);
        if (what == "float") made->as_float(2.5);
        if (what == "string") made->as_string("12ab");
        if (what == "binary") made->as_binary("xyz");
        if (what == "json") made->from_string("[1,2]");
        if (what == "object") made->as_object(new meter);
        if (what == "class") made->as_class(new test_instance);
        if (what == "class_def") made->as_class_def(&definition);
        if (what == "function") made->as_function(&definition, nullptr);
        if (what == "ext_function") {
            made->as_function(meter::metadata_of_class().find_function("reset"), nullptr);
        }
        if (what == "member") made->as_object_member(keeper.get(), "level");
        if (what == "ref") made->ref_to(target);
        return made;
    }

    test_instance definition;
    tvrptr_strong<meter> keeper{new meter};
    tvrvar_shared target{3};
};

TEST_F(value_read, every_type_by_every_reader) {
    struct row {
        const char* what;
        int64_t as_int;
        double as_float;
        bool as_bool;
        const char* text;
        int64_t size;
        bool zero;
        const char* lacks;  // the readers that warn: i, f, b, s (string), n (size), z (truth)
    };
    const row rows[] = {
        {"error", 0, 0, false, "ERROR", 0, true, "ifbn"},
        {"none", 0, 0, false, "", 0, true, "n"},
        {"int", 7, 7, true, "7", 0, false, "n"},
        {"float", 2, 2.5, true, "2.500000", 0, false, "n"},
        {"string", 12, 12, true, "12ab", 4, false, ""},
        {"binary", 0, 0, false, "xyz", 3, false, "ifb"},
        {"json", 0, 0, true, "[1,2]", 2, false, "if"},
        {"object", 0, 0, false, "<club.meter>", 0, false, "ifb"},
        {"class", 0, 0, false, "lamp", 0, false, "ifbn"},
        {"class_def", 0, 0, false, "", 0, true, "ifbsnz"},
        {"function", 0, 0, true, "", 0, false, "ifsn"},
        {"ext_function", 0, 0, false, "", 0, false, "ifbsn"},
        {"member", 5, 5, true, "5", 0, false, "n"},
        {"ref", 3, 3, true, "3", 0, false, "n"},
    };
    const std::pair<char, const char*> readers[] = {{'i', "int_value()"}, {'f', "float_value()"},
                                                    {'b', "get_bool()"},  {'s', "string_value()"},
                                                    {'n', "size()"},      {'z', "compare_zero"}};
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const tvrvar_shared v = make(r.what);
        EXPECT_EQ(v->int_value(), r.as_int);
        EXPECT_EQ(v->float_value(), r.as_float);
        EXPECT_EQ(v->bool_value(), r.as_bool);
        EXPECT_EQ(v->string_value(), r.text);
        EXPECT_EQ(v->size(), r.size);
        EXPECT_EQ(v->compare_zero(), r.zero);
        std::string expected;
        const std::string name(tvrvar_type_name(v->deref()->type));
        for (const auto& [mark, reader] : readers) {
            if (std::string(r.lacks).find(mark) == std::string::npos) continue;
            expected += "W " + std::string(reader) + " not implemented for type: " + name + "|";
        }
        EXPECT_EQ(said(), expected);
    }
}

TEST_F(value_read, what_is_no) {
    EXPECT_TRUE(tvrvar_shared(0)->compare_zero());
    EXPECT_TRUE(tvrvar_shared(-0.0)->compare_zero());
    EXPECT_FALSE(tvrvar_shared(double(NAN))->compare_zero());
    EXPECT_TRUE(tvrvar_shared(double(NAN))->bool_value());
    EXPECT_TRUE(tvrvar_shared("")->compare_zero());
    EXPECT_FALSE(tvrvar_shared("0")->compare_zero());
    EXPECT_TRUE(binary("")->compare_zero());
    EXPECT_TRUE(json("{}")->compare_zero());
    tvrvar_shared handle = none();
    handle->as_object_member(keeper.get(), "volume");
    EXPECT_TRUE(handle->compare_zero());  // a missing member, without an error
    EXPECT_TRUE(ref(handle)->compare_zero());
}

TEST_F(value_read, dead_objects) {
    tvrvar_shared held = none(), handle = none(), instance = none(), function = none();
    {
        meter gone;
        test_instance gone_too;
        held->as_object(&gone);
        handle->as_object_member(&gone, "level");
        instance->as_class(&gone_too);
        function->as_function(&gone_too, nullptr);
        EXPECT_TRUE(held->object_valid());
    }
    EXPECT_FALSE(held->object_valid());
    EXPECT_EQ(held->object_ptr(), nullptr);
    for (const tvrvar_shared& dead : {held, instance}) {
        EXPECT_TRUE(dead->compare_zero());
        EXPECT_TRUE(dead->is_none_like());
        EXPECT_EQ(dead->string_value(), "");
    }
    EXPECT_EQ(held->size(), 0);
    EXPECT_TRUE(function->compare_zero());
    EXPECT_FALSE(function->bool_value());
    EXPECT_TRUE(handle->compare_zero());
    EXPECT_EQ(said(), "");
}

TEST_F(value_read, only_none_and_the_dead_are_none_like) {
    for (const char* text : {"0", "0.0", "\"\"", "[]"}) {
        EXPECT_FALSE(json(text)->is_none_like()) << text;
    }
    EXPECT_TRUE(json("null")->is_none_like());
}

TEST_F(value_read, json_truth_is_copied_by_assignment) {
    const tvrvar_shared parsed = json("[true,false]");
    EXPECT_EQ(parsed->string_value(), "[true,false]");
    EXPECT_FALSE(parsed->get_member(int64_t(0))->compare_zero());
    EXPECT_TRUE(parsed->get_member(int64_t(1))->compare_zero());
    tvrvar_shared copy = none(), element = parsed->get_member(int64_t(1));
    EXPECT_FALSE(element->object_ptr()->op_is_none());
    copy->set(element);
    EXPECT_EQ(show(copy), "object false");
    EXPECT_NE(copy->object_ptr(), element->object_ptr());
    EXPECT_TRUE(element->compare_equal(*copy));
    EXPECT_TRUE(copy->compare_equal(*tvrvar_shared(0)));
}

}  // namespace
