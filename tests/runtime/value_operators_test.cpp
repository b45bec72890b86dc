#include <cmath>
#include <limits>

#include "runtime/payload/std_json_bool.h"
#include "runtime/value/arithmetic.h"
#include "value_fixture.h"

using namespace tavro::test;

namespace {

constexpr int64_t int_max = std::numeric_limits<int64_t>::max();
constexpr int64_t int_min = std::numeric_limits<int64_t>::min();

using binary_operator = bool (*)(tvrvar&, tvrvar&, tvrvar&);
const auto add = tvrvar_add, sub = tvrvar_sub, mult = tvrvar_mult, div_ = tvrvar_div,
           mod = tvrvar_mod;

class value_operators : public value_test {
protected:
    // The result into a variable of its own, and checked to be the same in the left operand.
    std::string apply(binary_operator op, const tvrvar_shared& left, const tvrvar_shared& right) {
        const tvrvar_shared result = none(), in_place = none();
        if (!op(*left, *right, *result)) return "asks the class";
        const std::string reported = said();
        if (left->type != tvrvar_type_object) {
            in_place->set(*left);
            EXPECT_TRUE(op(*in_place, *right, *in_place));
            EXPECT_EQ(show(in_place), show(result));
            EXPECT_EQ(said(), reported);
        }
        sink.errors = {};
        const std::string shown = show(result);
        said();
        return shown + (reported.empty() ? "" : " / " + reported);
    }
};

TEST_F(value_operators, by_the_larger_type) {
    struct row {
        const char* what;
        binary_operator op;
        tvrvar_shared left, right;
        const char* result;
    };
    const row rows[] = {
        {"none + none", add, none(), none(), "none  / E Add invalid type: none|"},
        {"none - none", sub, none(), none(), "none  / E Sub invalid type: none|"},
        {"none * none", mult, none(), none(), "none  / E Mult invalid type: none|"},
        {"none / none", div_, none(), none(), "none  / E Div invalid type: none|"},
        {"none + 1", add, none(), 1, "int 1"},
        {"1 - none", sub, 1, none(), "int 1"},
        {"none * 2.0", mult, none(), 2.0, "float 0.000000"},
        {"wrap up", add, int_max, 1, "int -9223372036854775808"},
        {"wrap down", sub, int_min, 1, "int 9223372036854775807"},
        {"wrap product", mult, int_max, 2, "int -2"},
        {"truncates", div_, -7, 2, "int -3"},
        {"by zero", div_, 7, 0, "int 0 / W Division by zero!|"},
        {"by none", div_, 7, none(), "int 0 / W Division by zero!|"},
        {"smallest by -1", div_, int_min, -1, "int -9223372036854775808"},
        {"floats by zero", div_, 1.0, 0, "float 0.000000 / W Division by zero!|"},
        {"int / float", div_, 1, 2.0, "float 0.500000"},
        {"sign of the left", mod, -7, 3, "int -1"},
        {"% 0", mod, 7, 0, "int 0 / W Modulo by zero!|"},
        {"% -1", mod, int_min, -1, "int 0"},
        {"% 0.0", mod, 7, 0.0, "float 0.000000 / W Modulo by zero!|"},
        {"fmod", mod, -7.5, 2, "float -1.500000"},
        {"% of a text", mod, "17 bpm", 5, "int 2"},
        {"a + 1", add, "a", 1, "string a1"},
        {"1 + a", add, 1, "a", "string 1a"},
        {"a + none", add, "a", none(), "string a"},
        {"a + 0.5", add, "a", 0.5, "string a0.500000"},
        {"text - text", sub, "a", "b", "none  / E Sub invalid type: string|"},
        {"text * int", mult, "a", 2, "none  / E Mult invalid type: string|"},
        {"bytes + text", add, binary("x"), "y", "string xy"},
        {"bytes / int", div_, binary("x"), 1, "none  / E Div invalid type: binary|"},
        {"json + text", add, json("[1]"), "!", "string [1]!"},
        {"text + json", add, "=", json("[1]"), "string =[1]"},
        {"lists", add, json("[1,2]"), json("[3]"), "json [1,2,3]"},
        {"maps", add, json("{\"a\":1,\"b\":2}"), json("{\"b\":3}"), "json {\"a\":1,\"b\":3}"},
        {"json + int", add, json("[1]"), 2, "none  / E Cannot add '[1]' and '2'|"},
        {"json - json", sub, json("[1]"), json("[1]"), "none  / E Sub invalid type: json|"},
        {"object + int", add, object(new meter), 2, "int 7"},
        {"int + object", add, 2, object(new meter), "none  / E Cannot add '2' and '<club.meter>'|"},
        {"int - object", sub, 7, object(new meter), "int 2"},
        {"object - int", sub, object(new meter), 1,
         "none  / E Cannot subtract '<club.meter>' and '1'|"},
        {"object * int", mult, object(new meter), 1,
         "none  / E Cannot multiplicate '<club.meter>' and '1'|"},
        {"object / int", div_, object(new meter), 1,
         "none  / E Cannot divide '<club.meter>' and '1'|"},
        {"through references", add, ref(1), ref(ref("x")), "string 1x"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(apply(r.op, r.left, r.right), r.result);
    }
}

TEST_F(value_operators, classes_are_left_to_their_methods) {
    tvrvar_shared instance = none(), result(1), one(1);
    instance->as_class(new test_instance);
    for (const auto op : {tvrvar_add, tvrvar_sub, tvrvar_mult, tvrvar_div, tvrvar_mod, tvrvar_band,
                          tvrvar_bor, tvrvar_bxor}) {
        EXPECT_FALSE(op(*instance, *one, *result));
        EXPECT_FALSE(op(*one, *ref(instance), *result));
    }
    EXPECT_FALSE(tvrvar_minus(*instance, *result));
    EXPECT_EQ(show(result), "int 1");
}

TEST_F(value_operators, functions_cannot_be_added) {
    test_instance routine;
    tvrvar_shared function = none(), result = none(), one(1);
    function->as_function(&routine, nullptr);
    EXPECT_TRUE(tvrvar_add(*function, *one, *result));
    EXPECT_EQ(said(), "E Add invalid type: function|");
    EXPECT_TRUE(tvrvar_div(*one, *function, *result));
    EXPECT_EQ(said(), "E Div invalid type: function|");
}

TEST_F(value_operators, bits_and_signs) {
    EXPECT_EQ(apply(tvrvar_band, 12, "10"), "int 8");
    EXPECT_EQ(apply(tvrvar_bor, 12, 3.9), "int 15");
    EXPECT_EQ(apply(tvrvar_bxor, 12, none()), "int 12");
    tvrvar_shared result = none();
    const auto negated = [&](tvrvar_shared value) {
        EXPECT_TRUE(tvrvar_minus(*value, *result));
        return show(result);
    };
    EXPECT_EQ(negated(int_min), "int -9223372036854775808");
    EXPECT_EQ(negated(1.5), "float -1.500000");
    EXPECT_EQ(negated("1"), "none ");
    EXPECT_EQ(said(), "E Cannot negate type 5|");
    tvrvar_bnot(*ref(5), *result);
    EXPECT_EQ(show(result), "int -6");
}

// A sum is a value of its own: the parts do not change with it.
TEST_F(value_operators, sums_of_json_own_their_values) {
    tvrvar_shared left = json("[1]"), right = json("[2]"), sum = none(), seven(7);
    tvrvar_add(*left, *right, *sum);
    sum->get_member(int64_t(0))->set(seven);
    EXPECT_EQ(show(left), "json [1]");
    tvrvar_add(*left, *left, *left);
    EXPECT_EQ(show(left), "json [1,1]");
    tvrvar_shared text("ab");
    tvrvar_add(*text, *text, *text);
    EXPECT_EQ(show(text), "string abab");
}

TEST_F(value_operators, equality) {
    tvrvar_shared list = json("[1,\"a\",[2]]"), instance = none(), other = none();
    tvrvar_shared same = object(new meter), backwards = none();
    backwards->as_json(true).set("b", 2);
    backwards->as_json(false).set("a", 1);
    instance->as_class(new test_instance);
    other->as_class(new test_instance);
    struct row {
        const char* what;
        tvrvar_shared left, right;
        bool equal;
    };
    const row rows[] = {
        {"none, none", none(), none(), true},
        {"none, 0", none(), 0, true},
        {"none, empty text", none(), "", true},
        {"text and number", "1", 1, true},
        {"text and float", "1", 1.0, false},
        {"int and float", 1, 1.0, true},
        {"large ints apart", int_max, int_max - 1, false},
        {"nan", double(NAN), double(NAN), false},
        {"texts", "ab", "ac", false},
        {"bytes", binary("ab"), binary("ab"), true},
        {"bytes and text", binary("ab"), "ab", false},
        {"count of a json", json("[1,2,3]"), 3, true},
        {"json and float", json("[1,2,3]"), 3.0, false},
        {"json and text", json("[1]"), "[1]", false},
        {"json and none", json("[]"), none(), false},
        {"equal elements", list, json("[1,\"a\",[2]]"), true},
        {"other element", list, json("[1,\"a\",[3]]"), false},
        {"other keys", json("{\"a\":1}"), json("{\"b\":1}"), false},
        {"order of the text", json("{\"a\":1,\"b\":2}"), json("{\"b\":2,\"a\":1}"), true},
        {"other order", json("{\"a\":1,\"b\":2}"), backwards, false},
        {"other count", list, json("[1]"), false},
        {"same object", same, ref(same), true},
        {"objects", same, object(new meter), false},
        {"object decides", 5, same, true},
        {"object refuses", same, 6, false},
        {"same instance", instance, ref(instance), true},
        {"instances", instance, other, false},
        {"instance and none", instance, none(), false},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(r.left->compare_equal(*r.right), r.equal);
        EXPECT_EQ(r.right->compare_equal(*r.left), r.equal);
    }
}

TEST_F(value_operators, json_rings_and_depth_are_not_equal) {
    tvrvar_shared a = none(), b = none();
    a->as_json(true).push_back(a);
    b->as_json(true).push_back(b);
    EXPECT_TRUE(a->compare_equal(*a));
    EXPECT_FALSE(a->compare_equal(*b));
    // The same ring with an object in it that compares what it wraps.
    for (const tvrvar_shared& ring : {a, b}) {
        auto* wrapper = new tvr_std_json_bool(true);
        ring->as_json(true).push_back(object(wrapper));
        wrapper->value->set(*ring);
    }
    EXPECT_FALSE(a->compare_equal(*b));
    EXPECT_FALSE(a->compare_equal(*b));
    a->as_json(true);
    b->as_json(true);
}

TEST_F(value_operators, order) {
    struct row {
        const char* what;
        tvrvar_shared left, right;
        int order;  // of left to right
    };
    const row rows[] = {
        {"ints", int_min, int_max, -1},
        {"none as 0", none(), -1, 1},
        {"int and float", 1, 1.5, -1},
        {"equal", 2, 2.0, 0},
        {"texts", "B", "a", -1},
        {"prefix", "ab", "abc", -1},
        {"high bytes", "z", "\xC3\xA4", -1},
        {"text of a number", 10, "9", -1},
        {"equal texts", "x", "x", 0},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(r.left->compare_smaller(*r.right, false), r.order < 0);
        EXPECT_EQ(r.left->compare_smaller(*r.right, true), r.order <= 0);
        EXPECT_EQ(r.left->compare_bigger(*r.right, false), r.order > 0);
        EXPECT_EQ(r.left->compare_bigger(*r.right, true), r.order >= 0);
    }
    const tvrvar_shared nan(double(NAN)), one(1), native = object(new meter), five(5);
    EXPECT_FALSE(nan->compare_smaller(*one, true) || nan->compare_bigger(*one, true));
    EXPECT_TRUE(native->compare_bigger(*one, false));
    EXPECT_TRUE(one->compare_smaller(*native, false));  // the right side answers, mirrored
    EXPECT_TRUE(five->compare_smaller(*native, true));
    EXPECT_FALSE(native->compare_smaller(*one, false));
    EXPECT_EQ(said(), "");
    EXPECT_FALSE(json("[]")->compare_smaller(*one, false));
    EXPECT_FALSE(none()->compare_bigger(*none(), true));
    EXPECT_EQ(said(),
              "W Compare_smaller not implemented for type: json|"
              "W Compare_bigger not implemented for type: none|");
}

TEST_F(value_operators, in_place) {
    tvrvar_shared number(int_max), real(1.5), text("1"), nothing = none();
    EXPECT_TRUE(number->increment_value());
    EXPECT_EQ(number->integer, int_min);
    EXPECT_TRUE(real->decrement_value());
    EXPECT_EQ(real->real, 0.5);
    EXPECT_FALSE(text->increment_value());
    EXPECT_FALSE(nothing->decrement_value());
    EXPECT_TRUE(nothing->increment_value(*none()));
    EXPECT_EQ(show(nothing), "int 0");
    EXPECT_TRUE(ref(nothing)->decrement_value(*real));
    EXPECT_EQ(show(nothing), "float -0.500000");
    EXPECT_FALSE(nothing->increment_value(*text));
    EXPECT_FALSE(text->decrement_value(*nothing));
    EXPECT_EQ(said(),
              "W increment_value not implemented for type: string|"
              "W decrement_value not implemented for type: string|");
}

}  // namespace
