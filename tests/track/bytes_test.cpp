#include "track/bytes.h"

#include "blob_writer.h"

#include <gtest/gtest.h>

#include <string>

using namespace deckbus;
using namespace deckbus::test;

namespace {

bytes counting(size_t length) {
    bytes out(length);
    for (size_t i = 0; i < length; ++i) out[i] = uint8_t(i * 151 + i / 7);
    return out;
}

TEST(base64, texts) {
    struct row {
        const char* text;
        const char* decoded;
        bool ok;
    };
    const row rows[] = {
        {"", "", true},
        {"Zm9vYmFy", "foobar", true},
        {"Zm9vYg==", "foob", true},
        {"Zm9vYg", "foob", true},
        {"Zm9vYmE=", "fooba", true},
        {"Z", "", true},
        {"=Zm9v", "", true},
        {"Zm9v=!!!", "foo", true},
        {"Zm9vY=mFy", "foo", true},
        {"Zm9vYm9v!",
         "foobo"
         "o",
         false},
        {"Zm9vYm!v", "foob", false},
        {"Zm 9v", "f", false},
        {"Zm9v\n", "foo", false},
        {"Zm-_", "f", false},
        {"Zm9v\xC3\xBC", "foo", false},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.text);
        bytes out = {'>'};
        EXPECT_EQ(base64_decode(r.text, out), r.ok);
        EXPECT_EQ(std::string(out.begin(), out.end()), std::string(">") + r.decoded);
        EXPECT_EQ(base64_decode_into(r.text, nullptr, 0),
                  r.ok ? int64_t(std::string(r.decoded).size()) : -1);
    }
}

TEST(base64, every_length_into_every_room) {
    for (size_t length = 0; length < 70; ++length) {
        const bytes data = counting(length);
        const std::string text = base64_of(data);
        for (size_t capacity = 0; capacity < 74; ++capacity) {
            bytes out(74, 0xEE);
            ASSERT_EQ(base64_decode_into(text, out.data(), capacity), int64_t(length));
            bytes expected(74, 0xEE);
            std::copy_n(data.begin(), std::min(length, capacity), expected.begin());
            ASSERT_EQ(out, expected) << length << " bytes into " << capacity;
        }
    }
}

TEST(crc32, agrees_with_its_definition) {
    EXPECT_EQ(crc32(nullptr, 0), 0u);
    EXPECT_EQ(crc32(reinterpret_cast<const uint8_t*>("123456789"), 9), 0xCBF43926u);
    const bytes data = counting(120);
    for (size_t start = 0; start < 20; ++start) {
        uint32_t bit_by_bit = 0xFFFFFFFF;
        for (size_t end = start; end < data.size(); ++end) {
            ASSERT_EQ(crc32(&data[start], end - start), ~bit_by_bit) << start << " to " << end;
            bit_by_bit ^= data[end];
            for (int bit = 0; bit < 8; ++bit)
                bit_by_bit = bit_by_bit >> 1 ^ (bit_by_bit & 1 ? 0xEDB88320 : 0);
        }
    }
}

}  // namespace
