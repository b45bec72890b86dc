#include "track/blob_transfers.h"

#include "blob_writer.h"

#include <gtest/gtest.h>

using namespace deckbus;
using namespace deckbus::test;

namespace {

using step = blob_transfers::step;

json header(const std::string& id, int64_t size, int64_t parts, json crc = "0") {
    return {{"t", "blob"},  {"id", id},       {"kind", "wfd"}, {"fmt", "rgb"},
            {"size", size}, {"parts", parts}, {"crc", crc},    {"count", 3}};
}

json part(const std::string& id, json i, json d) {
    return {{"t", "part"}, {"id", id}, {"kind", "wfd"}, {"i", i}, {"d", d}};
}

TEST(blob_header, sizes_and_parts) {
    struct row {
        json size, parts;
        step expected;
    };
    const row rows[] = {
        {0, 0, step::finished},
        {-5, 0, step::finished},
        {nullptr, nullptr, step::finished},
        {0, 1, step::refused},
        {1, 0, step::refused},
        {1, 1, step::going_on},
        {768, 1, step::going_on},
        {769, 1, step::refused},
        {769, 2, step::going_on},
        {769, 3, step::refused},
        {16777216, 21846, step::going_on},
        {16777217, 21846, step::refused},
        {int64_t(1) << 62, 1, step::refused},
        {1e300, -1, step::refused},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.size.dump() + " " + r.parts.dump());
        blob_transfers transfers;
        pending_blob out;
        json line = header("a", 0, 0);
        line["size"] = r.size;
        line["parts"] = r.parts;
        EXPECT_EQ(transfers.open(line, 0, out), r.expected);
        EXPECT_EQ(transfers.pending.size(), r.expected == step::going_on ? 1u : 0u);
        for (const char* key : {"id", "kind"}) {
            json nameless = line;
            nameless[key] = 5;
            EXPECT_EQ(transfers.open(nameless, 0, out), step::ignored);
        }
    }
}

TEST(blob_header, checksums) {
    struct row {
        json crc;
        uint32_t value;
    };
    const row rows[] = {
        {"cbf43926", 0xCBF43926},
        {"CBF43926", 0xCBF43926},
        {"0xcbf43926", 0xCBF43926},
        {"cbf43926 and more", 0xCBF43926},
        {"1cbf43926", 0xCBF43926},
        {"", 0},
        {"xyz", 0},
        {3421780262, 0},
        {nullptr, 0},
    };
    for (const row& r : rows) {
        blob_transfers transfers;
        pending_blob out;
        EXPECT_EQ(transfers.open(header("a", 0, 0, r.crc), 0, out), step::finished);
        EXPECT_EQ(out.crc, r.value) << r.crc.dump();
        EXPECT_EQ(out.good(), r.value == 0);
    }
}

// 1537 bytes in three parts; the last holds one byte.
struct transfer : testing::Test {
    transfer() : data(1537) {
        for (size_t i = 0; i < data.size(); ++i) data[i] = uint8_t(i * 31 + 5);
        char crc[12];
        std::snprintf(crc, sizeof crc, "%08x", crc32(data.data(), data.size()));
        EXPECT_EQ(transfers.open(header("a", 1537, 3, crc), 10.0, out), step::going_on);
    }

    std::string piece(size_t i) const {
        return base64_of(std::span(data).subspan(i * 768, i < 2 ? 768 : 1));
    }
    step add(json i, json d) { return transfers.add_part(part("a", i, d), out); }

    bytes data;
    blob_transfers transfers;
    pending_blob out;
};

TEST_F(transfer, parts_in_any_order) {
    EXPECT_EQ(add(2, piece(2)), step::going_on);
    EXPECT_EQ(add(0, piece(0)), step::going_on);
    EXPECT_EQ(add(1, piece(1)), step::finished);
    EXPECT_TRUE(out.good());
    EXPECT_EQ(out.data, data);
    EXPECT_EQ(out.fmt, "rgb");
    EXPECT_EQ(out.count, 3);
    EXPECT_TRUE(transfers.pending.empty());
    EXPECT_EQ(add(1, piece(1)), step::ignored);
}

TEST_F(transfer, parts_that_change_nothing) {
    EXPECT_EQ(add(0, piece(0)), step::going_on);
    EXPECT_EQ(add(0, piece(1)), step::ignored);
    for (const json& i : {json(-1), json(3), json("1"), json(nullptr), json(4294967297)})
        EXPECT_EQ(add(i, piece(1)), step::ignored) << i.dump();
    for (const json& d : {json(5), json(nullptr), json("Zm9v!"), json(piece(0) + "\n")})
        EXPECT_EQ(add(1, d), step::ignored) << d.dump();
    EXPECT_EQ(transfers.add_part(part("b", 1, piece(1)), out), step::ignored);
    EXPECT_EQ(add(1, piece(1)), step::going_on);
    EXPECT_EQ(add(2, piece(2)), step::finished);
    EXPECT_TRUE(out.good());
    EXPECT_EQ(out.data, data);
}

TEST_F(transfer, wrong_length_fails_at_the_end) {
    EXPECT_EQ(add(2, base64_of(std::span(data).subspan(1536 - 1, 2))), step::going_on);
    EXPECT_EQ(add(1, piece(1)), step::going_on);
    EXPECT_EQ(add(2, piece(2)), step::ignored);
    EXPECT_EQ(add(0, piece(0)), step::finished);
    EXPECT_FALSE(out.good());
}

TEST_F(transfer, repeated_header_restarts) {
    add(0, piece(0));
    EXPECT_EQ(transfers.open(header("a", 1537, 1), 11.0, out), step::refused);
    EXPECT_EQ(transfers.pending.begin()->second.received, 1);
    EXPECT_EQ(transfers.open(header("a", 0, 0), 11.0, out), step::finished);
    EXPECT_EQ(transfers.pending.begin()->second.received, 1);
    EXPECT_EQ(transfers.open(header("a", 1537, 3), 12.0, out), step::going_on);
    EXPECT_EQ(transfers.pending.begin()->second.received, 0);
}

TEST_F(transfer, old_ones_go_at_the_next_header) {
    transfers.open(header("b", 1, 1), 70.0, out);
    EXPECT_EQ(transfers.pending.size(), 2u);  // 60.0 s is not more than 60.0 s
    transfers.open(header("c", 1, 1), 70.1, out);
    EXPECT_EQ(transfers.pending.size(), 2u);
    EXPECT_EQ(add(0, piece(0)), step::ignored);
}

TEST(open_transfers, are_bounded) {
    blob_transfers transfers;
    pending_blob out;
    const auto open = [&](int n, int64_t size) {
        return transfers.open(header("id" + std::to_string(n), size, size), 0, out);
    };
    for (int n = 10; n < 42; ++n) open(n, 1);
    EXPECT_EQ(open(20, 1), step::going_on);
    EXPECT_EQ(transfers.pending.size(), 32u);
    EXPECT_EQ(open(50, 1), step::going_on);
    EXPECT_EQ(transfers.pending.size(), 32u);
    EXPECT_EQ(transfers.pending.begin()->first.first, "id11");
    EXPECT_EQ(open(60, 0), step::finished);  // makes room like any other
    EXPECT_EQ(transfers.pending.size(), 31u);
}

TEST(open_transfers, can_be_dropped) {
    blob_transfers transfers;
    pending_blob out;
    const auto left = [&] {
        std::string ids;
        for (const auto& [key, blob] : transfers.pending) ids += key.first + key.second + " ";
        return ids;
    };
    for (const char* id : {"1:3:1", "1:3:11", "1:3:2", "1:2:1", "2:3:1"})
        for (const char* kind : {"art", "wfd"}) {
            json line = header(id, 1, 1);
            line["kind"] = kind;
            transfers.open(line, 0, out);
        }
    transfers.drop_track("1:3:1");
    EXPECT_EQ(left(), "1:2:1art 1:2:1wfd 1:3:11art 1:3:11wfd 1:3:2art 1:3:2wfd 2:3:1art 2:3:1wfd ");
    transfers.drop_prefix("1:3:");
    EXPECT_EQ(left(), "1:2:1art 1:2:1wfd 2:3:1art 2:3:1wfd ");
    transfers.drop_prefix("");
    EXPECT_EQ(left(), "");
}

}  // namespace
