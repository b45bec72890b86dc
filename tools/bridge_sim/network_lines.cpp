#include "bridge_sim/network_lines.h"

#include "bridge_sim/line_writer.h"
#include "bridge_sim/random_source.h"

namespace bridge_sim {

namespace {

void add(line_list& lines, int64_t us, const line_writer& line) {
    lines.push_back({us, true, line.open()});
}

void add_bridge(line_list& lines) {
    add(lines, first_us,
        line_writer("hello")
            .text("fw", "0.4.2")
            .text("board", "deckbus-bridge")
            .text("reset", "poweron")
            .flag("demo", false)
            .flag("passive", false)
            .flag("meta", true)
            .flag("art", true)
            .flag("wf", true));
    add(lines, first_us + 4000, line_writer("net").flag("link", true).text("ip", "169.254.20.77"));
    add(lines, first_us + 6000, line_writer("vcdj").text("phase", "running"));
}

line_writer device(int n, const char* name, int type) {
    return line_writer("dev")
        .integer("n", n)
        .flag("on", true)
        .text("name", name)
        .integer("type", type);
}

void add_devices(const set_plan& plan, line_list& lines) {
    constexpr int player_type = 1, mixer_type = 2;
    int64_t us = first_us + 20'000;
    for (int deck = 1; deck <= plan.wish.decks; deck++, us += 9'000) {
        add(lines, us, device(deck, "Club Player", player_type));
    }
    add(lines, us, device(mixer_number, "Club Mixer", mixer_type));
}

line_writer medium(int player, bool on) {
    return line_writer("media").integer("n", player).integer("slot", stick_slot).flag("on", on);
}

void add_media(const set_plan& plan, line_list& lines) {
    add(lines, first_us + 120'000, medium(1, true));
    if (plan.wish.decks > 1) add(lines, first_us + 131'000, medium(2, true));
    for (const stick_pull& pull : plan.pulls) {
        add(lines, pull.out_us, medium(pull.player, false));
        add(lines, pull.in_us, medium(pull.player, true));
    }
}

void add_heartbeats(const set_plan& plan, line_list& lines) {
    int heap_min = 149'000;
    for (int64_t us = first_us + 500'000; us < plan.end_us; us += us_per_s) {
        const int heap = 146'000 + int(hash_of(plan.wish.seed, 22, uint64_t(us)) % 7000);
        heap_min = heap < heap_min ? heap : heap_min;
        add(lines, us,
            line_writer("hb")
                .integer("ms", us / 1000)
                .integer("vcdj", 7)
                .integer("heap", heap)
                .integer("heapMin", heap_min));
    }
}

}  // namespace

void add_network_lines(const set_plan& plan, line_list& lines) {
    add_bridge(lines);
    add_devices(plan, lines);
    add_media(plan, lines);
    add_heartbeats(plan, lines);
}

}  // namespace bridge_sim
