// Regular expressions: what a pattern is judged to need, and matches just below its limit.

#include "stdobj/regex_limit.h"
#include "../runtime/value_fixture.h"
#include "stdobj/regex_matcher.h"

using namespace tavro::test;

namespace {

TEST(regex_limit, of_patterns) {
    struct row {
        const char* pattern;
        size_t limit, depth;
    };
    const row rows[] = {
        {"", 262144, 0},        {"a{3}", 262144, 0},  {"a{3,5}(b)", 262144, 1},
        {"a{,5}", 262144, 0},   {"a{x,}", 262144, 0}, {"a{3,}", 16384, 0},
        {"a{3,", 262144, 0},    {"a{", 262144, 0},    {"(a*)", 16384, 1},
        {"(a)b*", 16384, 1},    {"(a)*?", 8192, 1},   {"((a)(b))+", 8192, 2},
        {"(?:a){2,}", 8192, 1}, {"[(*+]", 262144, 0}, {"[\\](*]", 262144, 0},
        {"\\c[(a)*", 8192, 1},  {"[", 262144, 0},     {"[*", 262144, 0},
        {"\\(\\)*", 16384, 0},  {"a\\", 262144, 0},   {")*", 8192, 0},
        {"(()", 262144, 2},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.pattern);
        const tvr_regex_measure measure = tvr_measure_regex(r.pattern);
        EXPECT_EQ(measure.limit, r.limit);
        EXPECT_EQ(measure.depth, r.depth);
    }
}

std::string times(std::string_view text, size_t count) {
    std::string all;
    for (size_t i = 0; i < count; ++i) all += text;
    return all;
}

std::string grouped(const std::string& inside, size_t depth) {
    return times("(", depth) + inside + times(")", depth);
}

// As many alternatives as still get the whole limit, and many more.
std::string alternatives(size_t count) {
    return "(a" + times("|b", count) + ")*";
}

TEST(regex_limit, sinks_with_what_a_character_costs) {
    EXPECT_EQ(tvr_measure_regex(alternatives(40)).limit, tvr_regex_group_limit);
    const tvr_regex_measure many = tvr_measure_regex(alternatives(2000));
    EXPECT_LT(many.limit, 1000u);
    EXPECT_GT(many.limit, 100u);
    EXPECT_LE(many.stack_bytes(many.limit), tvr_regex_stack_bytes);
}

class regex_matcher_test : public value_test {
protected:
    // Whether the whole text of this many letters matches.
    bool matches(const std::string& pattern, size_t letters) {
        const std::string text(letters, 'a');
        bool found = false;
        const auto look = [&](const std::regex& regex, tvr_text_place begin, tvr_text_place end) {
            found = std::regex_match(begin, end, regex);
        };
        EXPECT_TRUE(tvr_run_regex("test", pattern, text, look)) << said();
        return found;
    }
};

TEST_F(regex_matcher_test, survives_the_worst_below_each_limit) {
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
    GTEST_SKIP() << "this sanitizer follows 65,536 calls within each other, fewer than there are";
#endif
#endif
    struct row {
        const char* what;
        std::string pattern;
        bool found = true;
    };
    const row rows[] = {
        {"nested groups", "(((a|b)))*"},
        {"a group that may be empty", "((a?)*)*"},
        {"as deep as allowed", grouped("a|b", 32) + "*"},
        {"many alternatives", alternatives(40)},
        {"very many alternatives", alternatives(2000)},
        {"looking ahead", "((?=a)a)*"},
        {"not greedy", "(a|b)*?"},
        {"one of no end", "a*"},
        {"one after the other", "a*b*c*d*e*f*"},
        {"no match", "(a|b)*c", false},
        {"a class", "[ab]+"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(matches(r.pattern, tvr_measure_regex(r.pattern).limit), r.found);
    }
    EXPECT_TRUE(matches(".{0,45000}", 45000));
    EXPECT_TRUE(matches(times("a", 5000), 5000));
}

// The library reckons with numbers without looking at their size.
TEST_F(regex_matcher_test, refuses_numbers_that_overflow) {
    struct row {
        const char* pattern;
        bool runs;
    };
    const row rows[] = {
        {"\\6666666666666666666", false},
        {"a{6666666666666666666}", false},
        {"a{1,6666666666666666666}", false},
        {"[\\6666666666666666666]", false},
        {"\\c[a{6666666666666666666}", false},
        {"6666666666666666666,6666666666666666666", true},
        {"a{1,9}", true},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.pattern);
        EXPECT_EQ(tvr_run_regex("test", r.pattern, "a", [](auto&&...) {}), r.runs);
        EXPECT_EQ(said().empty(), r.runs);
    }
}

TEST_F(regex_matcher_test, short_texts_of_known_patterns_need_no_other_thread) {
    const auto thread_of = [&](const std::string& pattern, size_t letters) {
        std::thread::id ran;
        tvr_run_regex("test", pattern, std::string(letters, 'a'),
                      [&](auto&&...) { ran = std::this_thread::get_id(); });
        return ran;
    };
    const auto here = std::this_thread::get_id();
    EXPECT_NE(thread_of("a+", 5), here);
    EXPECT_EQ(thread_of("a+", 5), here);
    EXPECT_NE(thread_of("a+", 10000), here);
    thread_of("a{1,5}", 5);
    EXPECT_NE(thread_of("a{1,5}", 5), here);
}

TEST_F(regex_matcher_test, more_patterns_than_are_kept) {
    for (int round = 0; round < 2; ++round) {
        for (size_t i = 1; i <= 50; ++i) EXPECT_TRUE(matches(times("a", i) + "+", i));
    }
}

TEST_F(regex_matcher_test, what_is_thrown_is_an_error) {
    EXPECT_FALSE(tvr_run_regex("test", "a", "a", [](auto&&...) { throw std::bad_alloc(); }));
    EXPECT_EQ(said(), "E test: std::bad_alloc|");
    EXPECT_FALSE(tvr_run_regex("test", "a", "a", [](auto&&...) { throw 5; }));
    EXPECT_EQ(said(), "E test: unknown native exception|");
}

// A letter more, and the matcher is not asked.
TEST_F(regex_matcher_test, refuses_what_is_too_long_or_too_deep) {
    const auto never = [](auto&&...) { ADD_FAILURE() << "it ran"; };
    EXPECT_FALSE(tvr_run_regex("regex_match", "(a|b)*", std::string(8193, 'a'), never));
    EXPECT_EQ(said(),
              "E regex_match: input of 8193 characters exceeds the std::regex limit of 8192 "
              "characters for this pattern (issue #102 - the matcher can exhaust the worker "
              "stack). Shorten the input, use a simpler pattern, or use a plain string search "
              "(find/replace/split).|");
    EXPECT_FALSE(tvr_run_regex("regex_match", grouped("a", 33), "a", never));
    EXPECT_EQ(said(),
              "E regex_match: the pattern has 33 groups inside of each other, more than 32|");
}

}  // namespace
