#include "track/json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace deckbus;

namespace {

constexpr int64_t int64_highest = std::numeric_limits<int64_t>::max();
constexpr int64_t int64_lowest = std::numeric_limits<int64_t>::min();
constexpr int32_t int32_highest = std::numeric_limits<int32_t>::max();
constexpr int32_t int32_lowest = std::numeric_limits<int32_t>::min();

TEST(json_fields, numbers) {
    struct row {
        const char* line;
        int64_t whole;
        int32_t narrow;
        double value;
    };
    const row rows[] = {
        {R"({"v": 5})", 5, 5, 5.0},
        {R"({"v": -1})", -1, -1, -1.0},
        {R"({"v": 2.5})", 3, 3, 2.5},
        {R"({"v": -2.5})", -3, -3, -2.5},
        {R"({"v": 0.49999999999999994})", 0, 0, 0.49999999999999994},
        {R"({"v": 4294967297})", 4294967297, int32_highest, 4294967297.0},
        {R"({"v": -4294967297})", -4294967297, int32_lowest, -4294967297.0},
        {R"({"v": 9223372036854775808})", int64_highest, int32_highest, 9223372036854775808.0},
        {R"({"v": 1e300})", int64_highest, int32_highest, 1e300},
        {R"({"v": -1e300})", int64_lowest, int32_lowest, -1e300},
        {R"({"v": -9223372036854775808.0})", int64_lowest, int32_lowest, -9223372036854775808.0},
        {R"({"v": "5"})", 7, 7, 7.0},
        {R"({"v": true})", 7, 7, 7.0},
        {R"({"v": null})", 7, 7, 7.0},
        {R"({"w": 5})", 7, 7, 7.0},
        {R"([5])", 7, 7, 7.0},
        {R"(5)", 7, 7, 7.0},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.line);
        const json line = json::parse(r.line);
        EXPECT_EQ(integer(line, "v", 7), r.whole);
        EXPECT_EQ(integer32(line, "v", 7), r.narrow);
        EXPECT_EQ(number(line, "v", 7), r.value);
    }
}

TEST(json_fields, what_is_no_number) {
    const json line = {{"nan", std::nan("")}, {"inf", std::numeric_limits<double>::infinity()}};
    EXPECT_EQ(integer(line, "nan", 7), 7);
    EXPECT_EQ(integer(line, "inf", 7), int64_highest);
}

TEST(json_fields, texts_and_flags) {
    const json line =
        json::parse(R"({"s": "on", "t": true, "one": 1, "word": "true", "f": false})");
    EXPECT_EQ(text(line, "s"), "on");
    EXPECT_EQ(text(line, "one"), "");
    EXPECT_EQ(text(line, "none"), "");
    EXPECT_EQ(text(json::array({"s"}), "s"), "");
    EXPECT_TRUE(flag(line, "t"));
    for (const char* key : {"f", "one", "word", "none"}) EXPECT_FALSE(flag(line, key)) << key;
}

}  // namespace
