// Between threads: the send ring, the counters of ids, sets of chunks, finished tickets.

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "net/async_buffer.h"
#include "net/chunk_bits.h"
#include "net/ids.h"
#include "net/order_buffer.h"

namespace {

using ring = tvrnet_async_buffer_spsc<1400, 4>;
constexpr tvrnet_ip somewhere{{1, 2, 3, 4}, 5};

size_t packets_until_full(ring& r, size_t size) {
    const std::vector<uint8_t> data(size, 'x');
    size_t count = 0;
    while (r.write(somewhere, data.data(), size)) count++;
    return count;
}

TEST(async_buffer, slots_are_shared_as_far_as_they_reach) {
    struct row {
        const char* what;
        size_t size, packets;
    };
    const row rows[] = {
        {"the largest takes a slot alone", 1400, 4},
        {"two of 600 share one", 600, 8},
        {"nothing", 0, 0},
        {"too large", 1401, 0},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        ring made;
        EXPECT_EQ(packets_until_full(made, r.size), r.packets);
    }
}

TEST(async_buffer, a_slot_that_was_read_can_be_written_again) {
    ring r;
    EXPECT_EQ(packets_until_full(r, 1400), 4U);
    EXPECT_TRUE(r.overflow());
    ring::place at = r.reader();
    ring::packet packet;
    ASSERT_TRUE(r.look(at, packet));
    EXPECT_EQ(packet.length, 1400U);
    EXPECT_EQ(packet.to, somewhere);
    ASSERT_TRUE(r.look(at, packet));
    r.release(at);
    EXPECT_EQ(packets_until_full(r, 1400), 1U);
}

TEST(async_buffer, carries_everything_in_order_between_threads) {
    constexpr uint32_t count = 200000;
    ring r;
    std::thread writer([&] {
        for (uint32_t i = 0; i < count;) {
            uint8_t data[300];
            std::memcpy(data, &i, sizeof i);
            if (r.write(somewhere, data, 4 + i % 296))
                i++;
            else
                std::this_thread::yield();
        }
    });
    uint32_t expected = 0;
    bool sound = true;
    while (expected < count) {
        ring::place at = r.reader();
        ring::packet packet;
        if (!r.look(at, packet)) {
            std::this_thread::yield();
            continue;
        }
        uint32_t number = 0;
        std::memcpy(&number, packet.data, sizeof number);
        sound = sound && number == expected && packet.length == 4 + number % 296;
        expected++;
        r.release(at);
    }
    writer.join();
    EXPECT_TRUE(sound);
    EXPECT_TRUE(r.empty());
}

TEST(ids, pass_by_the_values_that_mean_something_else) {
    tvrnet_global_s ids;
    ids.last_session = tvrnet_no_session - 2;
    EXPECT_EQ(ids.get_new_sessionid(), tvrnet_no_session - 1);
    EXPECT_EQ(ids.get_new_sessionid(), 1U);
    ids.last_ticket = tvrnet_no_ticket - 1;
    EXPECT_EQ(ids.get_new_ticketid(), 1U);
    EXPECT_EQ(ids.get_new_ticketid(), 2U);
    tvrnet_global_s one, other;
    EXPECT_NE(one.get_new_sessionid(), other.get_new_sessionid()) << "two incarnations";
}

TEST(chunk_bits, finds_runs) {
    tvrnet_chunk_bits bits;
    bits.reset(130);
    bits.add_range(60, 70);
    bits.add(129);
    EXPECT_EQ(bits.next_in(0), 60U);
    EXPECT_EQ(bits.next_out(60), 71U);
    EXPECT_EQ(bits.next_in(71), 129U);
    EXPECT_EQ(bits.next_out(129), tvrnet_chunk_bits::none);
    bits.remove(129);
    EXPECT_EQ(bits.next_in(71), tvrnet_chunk_bits::none);
    bits.reset(64);
    EXPECT_EQ(bits.next_in(0), tvrnet_chunk_bits::none) << "kept from before";
}

TEST(finished_tickets, remembers_many_and_forgets_the_oldest) {
    tvrnet_finished_tickets done;
    constexpr uint64_t scattered = tvrnet_finished_tickets::max_words;
    for (uint64_t i = 0; i < scattered; i++) done.add(i * 1000);
    EXPECT_TRUE(done.has(0));
    EXPECT_FALSE(done.has(1));
    done.add(UINT64_MAX);
    EXPECT_TRUE(done.has(UINT64_MAX));
    EXPECT_FALSE(done.has(0));
    EXPECT_TRUE(done.has(1000));
}

}  // namespace
