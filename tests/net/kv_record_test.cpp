// Key-value records: written and read back, damaged, in any order.

#include "net/kv_record.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

std::vector<uint8_t> record(const std::string& key, uint8_t format,
                            const std::vector<uint8_t>& value) {
    tvrnet_kv_writer w;
    w.add_data(key.c_str(), value.data(), value.size(), tvrnet_pkt_dataformat(format));
    return w.data;
}

TEST(kv_record, stands_on_the_wire_as_told) {
    EXPECT_EQ(record("ab", 5, {1, 2}), (std::vector<uint8_t>{3, 5, 'a', 'b', 0, 2, 0, 0, 0, 1, 2}));
}

TEST(kv_record, keys_have_a_bound) {
    EXPECT_FALSE(record(std::string(253, 'k'), 1, {}).empty());
    EXPECT_TRUE(record(std::string(254, 'k'), 1, {}).empty());
}

TEST(kv_reader, finds_keys_in_any_order) {
    tvrnet_kv_writer w;
    w.add_int32("one", 1);
    w.add_text("two", "zwei");
    w.add_double("three", 3.9);
    tvrnet_kv_reader r(w.data);
    EXPECT_EQ(r.read_int32("three"), 3);
    EXPECT_EQ(r.read_int32("one"), 1) << "before the position";
    ASSERT_TRUE(r.read_key("two"));
    EXPECT_EQ(std::string(r.value.begin(), r.value.end()), "zwei");
    EXPECT_TRUE(r.read_key("two")) << "the last record again";
    EXPECT_FALSE(r.read_key("four"));
    EXPECT_EQ(r.read_int32("two"), 0) << "a text is no number";
}

TEST(kv_reader, numbers_of_every_format) {
    struct row {
        const char* what;
        uint8_t format;
        std::vector<uint8_t> value;
        int32_t number;
    };
    const row rows[] = {
        {"16 bits below 0", 4, {0xFE, 0xFF}, -2},
        {"16 bits in one byte", 4, {0xFE}, 0xFE},
        {"32 bits", 5, {1, 2, 3, 4}, 0x04030201},
        {"32 bits in one byte", 5, {200}, 200},
        {"64 bits, the low half", 6, {0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0}, -1},
        {"float toward 0", 10, {0, 0, 0x70, 0xC0}, -3},
        {"float beyond all numbers", 10, {0, 0, 0x80, 0x7F}, INT32_MAX},
        {"no number at all", 10, {0, 0, 0xC0, 0x7F}, 0},
        {"unknown format", 7, {1}, 0},
        {"nothing", 5, {}, 0},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        std::vector<uint8_t> data = record("n", r.format, r.value);
        EXPECT_EQ(tvrnet_kv_reader(data).read_int32("n"), r.number);
    }
}

TEST(kv_reader, stops_at_damage) {
    struct row {
        const char* what;
        size_t at;
        uint8_t value;
    };
    const row rows[] = {
        {"key length 0", 11, 0},
        {"key length 255", 11, 255},
        {"key past the end", 11, 6},
        {"value one byte past the end", 16, 3},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        std::vector<uint8_t> data = record("ab", 5, {1, 2});
        const std::vector<uint8_t> second = record("cd", 5, {3, 4});
        data.insert(data.end(), second.begin(), second.end());
        data[r.at] = r.value;
        tvrnet_kv_reader reader(data);
        EXPECT_TRUE(reader.read());
        EXPECT_FALSE(reader.read());
        EXPECT_TRUE(reader.read_key("ab"));
    }
    std::vector<uint8_t> unterminated = record("ab", 5, {1});
    unterminated[4] = 'x';
    EXPECT_TRUE(tvrnet_kv_reader(unterminated).read_key("ab"));
}

}  // namespace
