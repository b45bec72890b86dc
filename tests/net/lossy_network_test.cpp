// Whole nodes over bad networks, by the thousand: whatever is lost, doubled or overtaken, every
// reliable command arrives exactly once and whole.

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "net/hash.h"
#include "sim_node.h"

using namespace net_test;

namespace {

constexpr auto text_format = tvrnet_pkt_dataformat::text;

// A command's bytes tell which they are, and every byte is checked.
std::vector<uint8_t> message(uint32_t number, size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; i++) bytes[i] = uint8_t(number * 31 + i * 7 + i / 251);
    for (size_t i = 0; i < 4 && i < size; i++) bytes[i] = uint8_t(number >> (8 * i));
    return bytes;
}

// Counts what arrives at a node under "line".
struct inbox {
    explicit inbox(tvrnet_base& node) {
        node.add_command("line", [this](const tvrnet_ip&, const uint8_t* data, size_t size,
                                        const tvrnet_pkt_header&) {
            uint32_t number = 0;
            ASSERT_GE(size, sizeof number);
            std::memcpy(&number, data, sizeof number);
            arrived[number]++;
            EXPECT_EQ(std::vector<uint8_t>(data, data + size), message(number, size));
        });
    }
    std::map<uint32_t, int> arrived;

    bool has_each_once(size_t count) const {
        return arrived.size() == count && std::all_of(arrived.begin(), arrived.end(),
                                                      [](const auto& a) { return a.second == 1; });
    }
};

size_t some_size(std::mt19937_64& random) {
    constexpr size_t sizes[] = {4, 64, 1335, 1336, 1337, 4000, 20000};
    return sizes[random() % std::size(sizes)];
}

// Both nodes send to each other, with a question among it.
void exchange(uint64_t seed, const sim_faults& faults) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    sim_pair pair(seed, faults);
    inbox at_a(pair.a), at_b(pair.b);
    pair.b.add_request("double", [](const tvrnet_request& asked, tvrnet_answer& out) {
        out.data.assign(asked.data, asked.data + asked.size);
        out.data.insert(out.data.end(), asked.data, asked.data + asked.size);
        return true;
    });
    ASSERT_TRUE(pair.meet());
    pair.run(1);  // both have told of the other; from here on nothing comes between them
    const size_t told = pair.a.log.size() + pair.b.log.size();

    std::mt19937_64 random(seed);
    constexpr uint32_t count = 12;
    for (uint32_t i = 0; i < count; i++) {
        for (sim_node* node : {&pair.a, &pair.b}) {
            const auto bytes = message(i, some_size(random));
            const auto device = node->connected_devices().at(0);
            ASSERT_NE(device->send_reliable("line", bytes.data(), bytes.size(), text_format,
                                            random() % 2 == 0, 0),
                      tvrnet_no_ticket);
        }
        pair.run(random() % 5);
    }
    int answers = 0;
    pair.a.peer(pair.b.mac())
        ->send_get(
            "double", "ab", 2, text_format,
            [&](const uint8_t* data, size_t size, tvrnet_pkt_dataformat, bool success) {
                EXPECT_TRUE(success);
                EXPECT_EQ(std::string(data, data + size), "abab");
                answers++;
            },
            60000);
    const auto quiet = [&] {
        return answers == 1 && at_a.arrived.size() == count && at_b.arrived.size() == count &&
               pair.a.peer(pair.b.mac())->commands_on_their_way() == 0 &&
               pair.b.peer(pair.a.mac())->commands_on_their_way() == 0;
    };
    EXPECT_TRUE(pair.until(60000, quiet));
    pair.run(200);  // what is still on its way must change nothing
    EXPECT_TRUE(at_a.has_each_once(count) && at_b.has_each_once(count));
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(pair.a.log.size() + pair.b.log.size(), told) << pair.a.log.back();
}

TEST(lossy_network, every_command_arrives_exactly_once) {
    struct row {
        const char* what;
        sim_faults faults;
        uint64_t seeds;
    };
    const row rows[] = {
        {"a good network", {}, 20},
        {"loss", {.loss = 0.3}, 1000},
        {"duplicates", {.duplicate = 0.3}, 200},
        {"reordering", {.delay_ms = 1, .jitter_ms = 6}, 300},
        {"all of it", {.loss = 0.3, .duplicate = 0.2, .delay_ms = 1, .jitter_ms = 8}, 1000},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        for (uint64_t seed = 1; seed <= r.seeds && !::testing::Test::HasFailure(); seed++) {
            exchange(seed, r.faults);
        }
    }
}

}  // namespace
