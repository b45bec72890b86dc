// Deck JSON as values: the short road has to end where the road through text does.

#include "binding/script_value.h"

#include <cmath>
#include <limits>
#include <random>

#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "stage.h"

using deckbus::json;

namespace tavro::test {
namespace {

class script_value : public device_stage {};

tvrvar_shared through_text(const json& value) {
    tvrvar_shared made = tvrvar_shared::make();
    made->from_string(value.dump(-1, ' ', false, json::error_handler_t::replace));
    return made;
}

// Types and contents, all the way down.
std::string described(tvrvar& value) {
    std::string out(tvrvar_type_name(value.type));
    if (value.type == tvrvar_type_object) out = value.object_ptr()->script_type_name();
    if (value.type == tvrvar_type_float) return out + " " + std::to_string(value.real);
    if (value.type != tvrvar_type_json) return out + " " + value.string_value();
    for (const auto& entry : value.object<tvr_std_json>()->entries) {
        out += (entry.has_key() ? " key " : " ") + std::string(entry.name()) + " (" +
               described(*entry.value) + ")";
    }
    return out;
}

void expect_same(const json& value) {
    const json inside = {{"value", value}, {"list", {value, value}}};
    EXPECT_EQ(described(*deckbus::to_var(inside)), described(*through_text(inside)))
        << inside.dump(-1, ' ', true, json::error_handler_t::replace);
}

TEST_F(script_value, kinds) {
    const json rows[] = {
        nullptr,
        true,
        false,
        -1,
        std::numeric_limits<int64_t>::min(),
        std::numeric_limits<uint64_t>::max(),  // the same bits as -1
        0.1,
        -0.0,
        1e300,
        std::nan(""),  // no JSON: null
        std::numeric_limits<double>::infinity(),
        "",
        "drop \"now\" \n\x01",
        "\u00e4\u20ac\U0001F50A",
        "\xED\xA0\x80 half of a pair",
        "broken \xC3",
        "\xFF\xFE",
        json::array(),
        json::object(),
        {{"b", 1}, {"a", {{"", "no key"}, {"z", {1, 2.5, nullptr}}}}},
        {{"\xFF", 1}, {"\xFE", 2}},  // both keys become the same
        {{"\u00e4", 1}, {"a", 2}},
    };
    for (const json& row : rows) expect_same(row);
}

json random_value(std::mt19937& random, int depth) {
    const auto pick = [&](uint32_t below) { return uint32_t(random() % below); };
    switch (pick(depth > 0 ? 7 : 5)) {
    case 0: return pick(2) == 0;
    case 1: return int64_t(random()) - int64_t(random());
    case 2: return std::ldexp(double(random()), int(pick(200)) - 100);
    case 3: return nullptr;
    case 4: {
        std::string text(pick(6), ' ');
        for (char& c : text) c = char(pick(3) == 0 ? pick(256) : 'a' + pick(26));
        return text;
    }
    default: break;
    }
    json out = pick(2) == 0 ? json::array() : json::object();
    for (uint32_t i = pick(5); i > 0; --i) {
        if (out.is_array()) {
            out.push_back(random_value(random, depth - 1));
        } else {
            out[random_value(random, 0).dump(-1, ' ', true, json::error_handler_t::replace)] =
                random_value(random, depth - 1);
        }
    }
    return out;
}

TEST_F(script_value, whatever_a_line_may_hold) {
    std::mt19937 random(7);
    for (int i = 0; i < 2000; ++i) expect_same(random_value(random, 4));
}

TEST_F(script_value, alone) {
    EXPECT_EQ(described(*deckbus::to_var(true)), "int 1");
    EXPECT_EQ(described(*deckbus::to_var(nullptr)), "none ");
    EXPECT_EQ(deckbus::to_var("\xFF raw")->string_value(), "\xFF raw");
    EXPECT_TRUE(
        std::isinf(deckbus::to_var(std::numeric_limits<double>::infinity())->float_value()));
}

TEST_F(script_value, sound) {
    deckbus::audio_chunk chunk;
    chunk.sample_rate = 16000;
    chunk.seq = 0xFFFFFFFF;
    chunk.source = 2;
    chunk.us = -5;
    chunk.t = 10.0;
    chunk.pcm = {0x00, 0x80, 0xFF, 0x7F, 0x00, 0x40, 0x99};  // and half a sample
    const auto all = deckbus::audio_list({chunk}, 10.5, true);
    auto& first = *all->get_member(int64_t(0))->object<tvr_std_json>();
    EXPECT_EQ(first.find("rate")->int_value(), 16000);
    EXPECT_EQ(first.find("seq")->int_value(), 0xFFFFFFFF);
    EXPECT_EQ(first.find("source")->int_value(), 2);
    EXPECT_EQ(first.find("us")->int_value(), -5);
    EXPECT_DOUBLE_EQ(first.find("ageMs")->float_value(), 500.0);
    EXPECT_EQ(first.find("samples")->int_value(), 3);
    EXPECT_EQ(first.find("data")->object<tvr_std_buffer>()->bytes, chunk.pcm);
    auto& values = *first.find("values")->object<tvr_std_json>();
    ASSERT_EQ(values.size(), 3u);
    EXPECT_EQ(values.entries[0].value->float_value(), -1.0);
    EXPECT_EQ(values.entries[1].value->float_value(), 32767 / 32768.0);
    EXPECT_EQ(values.entries[2].value->float_value(), 0.5);
    const auto bare = deckbus::audio_value(chunk, 10.0, false);
    EXPECT_FALSE(bare->has_member("values"));
}

}  // namespace
}  // namespace tavro::test
