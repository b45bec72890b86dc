// The board without a port: its clock, its answers and the harm that is done to its lines.

#include "bridge_sim/board.h"

#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <sstream>

#include "bridge_sim/command_lines.h"
#include "bridge_sim/fault_plan.h"

namespace bridge_sim {
namespace {

board_script script_of(const std::string& text) {
    std::istringstream in(text);
    return read_script(in);
}

// One track on deck 1 from 1.0 s on, ejected at 9.0 s; a heartbeat at 2.0 s.
const char* const small_set =
    R"({"t":"hello","fw":"0.4.2","reset":"poweron","us":5000000,"rx":0.0})"
    "\n"
    R"({"t":"dev","n":1,"on":true,"name":"Player","type":1,"us":5100000,"rx":0.1})"
    "\n"
    R"({"t":"media","n":1,"slot":3,"on":true,"us":5200000,"rx":0.2})"
    "\n"
    R"({"t":"trk","n":1,"id":"1:3:7","meta":true,"us":6000000,"rx":1.0})"
    "\n"
    R"({"t":"meta","id":"1:3:7","title":"A","us":6100000,"rx":1.1})"
    "\n"
    R"({"t":"blob","id":"1:3:7","kind":"cues","fmt":"ext","size":3,"crc":"0","parts":1,"us":6200000,"rx":1.2})"
    "\n"
    R"({"t":"part","id":"1:3:7","kind":"cues","i":0,"d":"AAAA","rx":1.3})"
    "\n"
    R"({"t":"beat","n":1,"bpm":120.0,"beat":1,"us":6350000,"rx":1.35})"
    "\n"
    R"({"t":"metaok","id":"1:3:7","us":6400000,"rx":1.4})"
    "\n"
    R"({"t":"hb","ms":7000,"us":7000000,"rx":2.0})"
    "\n"
    R"({"t":"trk","n":1,"id":null,"meta":false,"us":14000000,"rx":9.0})"
    "\n";

struct bench {
    explicit bench(const board_wish& wish = {}) : device(script, wish, 100.0) {}

    // The lines due at this many s after the start, parsed.
    std::vector<ordered_json> at(double s) {
        std::vector<sent_line> lines;
        device.collect(100.0 + s, lines);
        std::vector<ordered_json> out;
        for (const sent_line& line : lines) out.push_back(ordered_json::parse(line.text));
        return out;
    }

    bool command(const char* text, double s) { return device.command(text, 100.0 + s); }

    board_script script = script_of(small_set);
    board device;
};

std::string kinds(const std::vector<ordered_json>& lines) {
    std::string out;
    for (const ordered_json& line : lines) {
        if (!out.empty()) out += ' ';
        out += text_of(line, "t");
    }
    return out;
}

TEST(board_script, lines_find_their_place_in_time) {
    struct row {
        const char* what;
        const char* lines;
        std::vector<double> at;
    };
    const row rows[] = {
        {"rx counts from the first",
         R"({"t":"a","rx":5.5})"
         "\n"
         R"({"t":"a","rx":7})",
         {0, 1.5}},
        {"us where rx is missing",
         R"({"t":"a","us":1000000})"
         "\n"
         R"({"t":"a","us":3500000})",
         {0, 2.5}},
        {"neither: the line before",
         R"({"t":"a","rx":1})"
         "\n"
         R"({"t":"a","rx":2})"
         "\n"
         R"({"t":"a"})",
         {0, 1, 1}},
        {"time never falls",
         R"({"t":"a","rx":3})"
         "\n"
         R"({"t":"a","rx":1})",
         {0, 0}},
        {"what is no line is skipped",
         "nonsense\n[1]\n{\"t\":7}\n{\"t\":\"\"}\n{\"t\":\"a\",\"rx\":1}",
         {0}},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        std::vector<double> at;
        for (const script_line& line : script_of(r.lines).lines) at.push_back(line.at);
        EXPECT_EQ(at, r.at);
    }
}

TEST(board, plays_at_its_pace_without_the_loggers_time) {
    bench b({.speed = 2.0});
    EXPECT_EQ(kinds(b.at(0.05)), "hello dev");
    EXPECT_EQ(kinds(b.at(0.49)), "media");
    const auto lines = b.at(0.55);
    EXPECT_EQ(kinds(lines), "trk meta");
    EXPECT_FALSE(lines[0].contains("rx"));
    EXPECT_EQ(integer_of(lines[0], "us", 0), 5500000);
    EXPECT_DOUBLE_EQ(b.device.next_due(), 100.6);
    b.at(4.5);
    EXPECT_TRUE(b.device.finished());
}

TEST(board, the_clock_goes_on_from_pass_to_pass) {
    bench b({.speed = 1.0, .loop = true});
    int64_t last_us = 0, hellos = 0;
    for (double s = 0; s < 30; s += 0.5) {
        for (const ordered_json& line : b.at(s)) {
            const int64_t us = integer_of(line, "us", last_us);
            EXPECT_GE(us, last_us);
            last_us = us;
            hellos += text_of(line, "t") == "hello";
            const int64_t ms = us / 1000;
            EXPECT_EQ(integer_of(line, "ms", ms), ms);
        }
    }
    EXPECT_EQ(hellos, 4);
    EXPECT_FALSE(b.device.finished());
}

TEST(board, a_recorded_restart_stays_one) {
    board_script script = script_of(R"({"t":"hb","us":9000000,"rx":0})"
                                    "\n"
                                    R"({"t":"hb","us":7999999,"rx":1})"
                                    "\n"
                                    R"({"t":"hb","us":8999999,"rx":2})"
                                    "\n");
    board device(script, {}, 0.0);
    std::vector<sent_line> lines;
    device.collect(5.0, lines);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(integer_of(ordered_json::parse(lines[1].text), "us", 0), 7999999);
    EXPECT_EQ(integer_of(ordered_json::parse(lines[2].text), "us", 0), 8999999);
}

// Numbers that no board could send are cut before anybody reckons with them.
TEST(board, impossible_times_do_no_harm) {
    board_script script = script_of(R"({"t":"hb","us":18446744073709551615,"rx":-1e308})"
                                    "\n"
                                    R"({"t":"hb","us":-9223372036854775808,"rx":1e308})"
                                    "\n");
    ASSERT_EQ(script.lines.size(), 2u);
    EXPECT_EQ(script.length_s, 2e9);
    board device(script, {.speed = 1.0, .loop = true}, 0.0);
    std::vector<sent_line> lines;
    device.collect(5.0, lines);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(integer_of(ordered_json::parse(lines[0].text), "us", 0), 1'000'000'000'000'000);
}

TEST(board, info_tells_what_is_on) {
    bench b;
    b.at(5.0);
    EXPECT_TRUE(b.command("info", 5.5));
    const auto lines = b.at(5.5);
    ASSERT_EQ(kinds(lines), "hello dev trk");
    EXPECT_EQ(text_of(lines[2], "id"), "1:3:7");
    EXPECT_TRUE(lines[2].at("meta").get<bool>());
    EXPECT_EQ(integer_of(lines[0], "us", 0), 10500000);
    b.at(9.0);
    EXPECT_TRUE(b.command("info", 9.1));
    EXPECT_TRUE(b.at(9.1).back().at("id").is_null());
}

TEST(board, fetch_sends_a_track_again) {
    bench b;
    b.at(5.0);
    EXPECT_TRUE(b.command("fetch 1", 5.0));
    EXPECT_EQ(kinds(b.at(5.05)), "meta");
    EXPECT_TRUE(b.command("fetch 1", 5.1)) << "under way, not sent twice";
    EXPECT_EQ(kinds(b.at(6.0)), "blob part metaok");
    EXPECT_TRUE(b.command("fetch 1", 6.0)) << "over, sent again";
    EXPECT_EQ(kinds(b.at(7.0)), "meta blob part metaok");
    EXPECT_TRUE(b.command("fetch 2", 7.0)) << "an empty deck has nothing to send";
    EXPECT_EQ(kinds(b.at(8.0)), "");
    EXPECT_EQ(b.device.counts().fetches, 4);
}

TEST(board, commands) {
    struct row {
        const char* text;
        bool known;
    };
    const row rows[] = {{"ping", true},    {"info", true},     {"fetch 64", true},
                        {"fetch", false},  {"fetch x", false}, {"fetch 1 2", false},
                        {"demo 1", false}, {"PING", false}};
    bench b;
    b.at(0.5);
    for (const row& r : rows) EXPECT_EQ(b.command(r.text, 0.5), r.known) << r.text;
    EXPECT_EQ(b.device.counts().pings, 1);
    EXPECT_EQ(b.device.counts().unknown, 5);
}

// Harm is drawn by a line's place, which must not move when somebody asks questions.
TEST(board, places_in_the_script_do_not_depend_on_questions) {
    auto places = [](bool asks) {
        bench b({.speed = 1.0, .loop = true});
        std::vector<uint64_t> out;
        for (int i = 0; i < 30; i++) {
            if (asks) b.command("info", i);
            if (asks) b.command("fetch 1", i);
            std::vector<sent_line> lines;
            b.device.collect(100.0 + i, lines);
            for (const sent_line& line : lines) {
                if (line.source == sent_line::from_script) out.push_back(line.ordinal);
            }
        }
        return out;
    };
    EXPECT_EQ(places(true), places(false));
}

TEST(board, restart_begins_anew) {
    bench b;
    b.at(1.5);
    b.device.restart(101.6);
    EXPECT_EQ(kinds(b.at(2.3)), "") << "booting";
    const auto lines = b.at(2.5);
    ASSERT_EQ(kinds(lines), "hello dev trk");
    EXPECT_EQ(text_of(lines[0], "reset"), "watchdog");
    EXPECT_NEAR(double(integer_of(lines[0], "us", 0)), 900000, 2);
    EXPECT_EQ(kinds(b.at(9.5)), "trk");
}

TEST(fault_plan, chance_depends_on_seed_and_place_alone) {
    const fault_plan plan{.seed = 5, .drop = 0.25, .garble = 0.5};
    const fault_plan other{.seed = 6, .drop = 0.25, .garble = 0.5};
    int dropped = 0, differ = 0, garbled = 0;
    for (uint64_t i = 0; i < 4000; i++) {
        const sent_line line{sent_line::from_script, i, "x"};
        dropped += plan.drops(line);
        differ += plan.drops(line) != other.drops(line);
        EXPECT_EQ(plan.drops(line), plan.drops(line));
        const std::string before = "{\"t\":\"hb\"}\n";
        std::string text = before, again = before;
        const bool harmed = plan.garbles(line, text);
        plan.garbles(line, again);
        garbled += harmed;
        EXPECT_EQ(text, again);
        ASSERT_EQ(text.size(), before.size());
        const auto kept = std::inner_product(text.begin(), text.end(), before.begin(), 0,
                                             std::plus<>(), std::equal_to<>());
        EXPECT_EQ(kept, int(before.size()) - harmed);
    }
    EXPECT_NEAR(dropped, 1000, 150);
    EXPECT_NEAR(garbled, 2000, 200);
    EXPECT_GT(differ, 1000);
}

TEST(fault_plan, borders_of_chance) {
    const sent_line line{sent_line::from_answer, 3, "x"};
    std::string text = "x";
    EXPECT_FALSE(fault_plan{}.drops(line));
    EXPECT_FALSE(fault_plan{}.garbles(line, text));
    EXPECT_TRUE((fault_plan{.drop = 1.0}.drops(line)));
    EXPECT_TRUE((fault_plan{.garble = 1.0}.garbles(line, text)));
}

TEST(fault_plan, mishaps_from_text) {
    struct row {
        const char* text;
        mishap::what kind;
        bool ok;
        double at_s, lasts_s;
    };
    using enum mishap::what;
    const row rows[] = {
        {"2.5@10", stall, true, 10, 2.5}, {"0@0", unplug, true, 0, 0},
        {"7", reboot, true, 7, 0},        {"7", stall, false, 0, 0},
        {"@7", unplug, false, 0, 0},      {"3@", stall, false, 0, 0},
        {"-1@7", stall, false, 0, 0},     {"1@7", reboot, false, 0, 0},
        {"nan", reboot, false, 0, 0},     {"inf@1", stall, false, 0, 0},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.text);
        mishap m;
        ASSERT_EQ(parse_mishap(r.kind, r.text, m), r.ok);
        if (!r.ok) continue;
        EXPECT_EQ(m.at_s, r.at_s);
        EXPECT_EQ(m.lasts_s, r.lasts_s);
    }
}

TEST(command_lines, bytes_become_commands) {
    const std::string longest(command_lines::longest, 'a'), too_long = longest + "b";
    struct row {
        const char* what;
        std::vector<std::string> pieces;
        std::vector<std::string> commands;
    };
    const row rows[] = {
        {"one byte at a time", {"p", "i", "n", "g", "\n"}, {"ping"}},
        {"several at once", {"ping\r\ninfo \n\n \nfet", "ch 1\n"}, {"ping", "info", "fetch 1"}},
        {"no newline, no command", {"ping"}, {}},
        {"longest", {longest + "\nping\n"}, {longest, "ping"}},
        {"too long: its beginning, then the next line",
         {too_long + too_long, "\nping\n"},
         {longest, "ping"}},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        command_lines lines;
        std::vector<std::string> got;
        for (const std::string& piece : r.pieces) {
            lines.add(piece);
            for (std::string command; lines.next(command);) got.push_back(command);
        }
        EXPECT_EQ(got, r.commands);
    }
}

}  // namespace
}  // namespace bridge_sim
