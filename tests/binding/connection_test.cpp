// Devices on real transports: recordings and a serial line, shared, blocked, and pulled out.

#include <array>
#include <atomic>
#include <thread>

#include "../deck/board.h"
#include "../support/scratch.h"
#include "stage.h"

namespace tavro::test {
namespace {

class connection : public testing::Test {
protected:
    // Runs a script in an interpreter of its own, to its end. What was said; leaks are told too.
    static std::string run(const std::string& text) {
        listening_log log;
        {
            interpreter in(log);
            in.start("import deckbus;\n" + text);
            in.run_to_end();
        }
        return log.said() + (log.heard("Script shutdown") ? "leaks|" : "");
    }
};

TEST_F(connection, a_recording_plays_for_all_who_ask_for_it) {
    const test_support::scratch folder;
    const std::string path = folder.add("set.jsonl", R"({"t":"warn","msg":"first"}
{"t":"beat","n":1,"bpm":120.0,"bb":1,"beat":1}
{"t":"warn","msg":"last"})");
    const std::string play = tvr_join("replay(\"", path, "\", 0, false);\n");
    EXPECT_EQ(run("d = deckbus.device(); other = deckbus.device(); open = 1;\n"
                  "d.on_event((e) { std.print(e.type, e.msg ?? \"\"); if (e.msg == \"last\") open "
                  "= 0; });\n"
                  "d." +
                  play + "other." + play +
                  "for (open) std.wait(1);\n"
                  "std.print(d.connected(), other.player(1).beat);\n"
                  "d.close(); std.print(d.connected(), other.connected());\n"
                  "d = None; other = None;"),
              "connected |warn first|beat |warn last|1 1|0 1|");
}

// The hour of a set takes a few seconds, again and again.
TEST_F(connection, a_set_that_loops_leaves_nothing_behind) {
    EXPECT_EQ(run("d = deckbus.device(); n = 0; beats = 0; fresh = 0;\n"
                  "d.on_event((e) { n = n + 1; });\n"
                  "d.on_beat((b) { beats = beats + 1; x = d.player(b.n); });\n"
                  "d.replay(\"" EXAMPLE_RECORDING "\", 1000.0, true);\n"
                  "for (beats < 8000) { std.wait(5); s = d.state(); d.events(); d.history();"
                  " d.deck_texture(2); d.artwork(1); d.take_audio(); d.track(\"2:3:108\"); }\n"
                  "std.print(n > beats); d = None;"),
              "1|");
}

TEST_F(connection, is_shared_by_interpreters_on_two_threads) {
    const std::string text =
        "d = deckbus.device(); beats = 0; s = None;\n"
        "d.on_beat((b) { beats = beats + 1; });\n"
        "d.replay(\"" EXAMPLE_RECORDING
        "\", 300.0, true);\n"
        "for (beats < 1500) { std.wait(1); s = d.state(); x = d.deck_texture(1); "
        "d.send(\"info\");\n"
        "    if (beats % 7 == 0) d.history_clear(); }\n"
        "std.print(d.connected(), s.players.size() > 0); d = None;";
    std::array<std::string, 2> said;
    std::thread other([&] { said[1] = run(text); });
    said[0] = run(text);
    other.join();
    EXPECT_EQ(said[0], "1 1|");
    EXPECT_EQ(said[1], "1 1|");
}

// How often the cable is pulled; TAVRO_REPLUGS asks for more than a test has time for.
int replugs() {
    const char* asked = std::getenv("TAVRO_REPLUGS");
    return asked != nullptr ? std::atoi(asked) : 2;
}

TEST_F(connection, comes_back_whenever_the_cable_does) {
    const test_support::scratch folder;
    const std::string port = folder.path("port");
    listening_log log;
    {
        interpreter in(log);
        std::atomic<int> heard{0};
        in.script.root_namespace.child("test").add_function(
            "heard",
            [&heard](tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
                heard = int(args[0]->int_value());
                return tvrvar_shared();
            },
            1, 1);
        in.start(
            "import deckbus;\nd = deckbus.device();\nn = 0;\n"
            "d.on_event((e) { if (e.type == \"connected\") { n = n + 1; test.heard(n); }\n"
            "    if (e.type == \"disconnected\") test.heard(-n); });\n"
            "d.open(\"" +
            port + "\");");
        for (int i = 1; i <= replugs(); ++i) {
            {
                const deckbus::test::board there(port);
                in.run_until([&] {
                    there.say("{\"t\":\"hb\",\"ms\":1}\n");
                    return heard == i;
                });
            }
            in.run_until([&] { return heard == -i; });
        }
    }
    EXPECT_EQ(log.said(), "");
    EXPECT_FALSE(log.heard("Script shutdown"));
}

}  // namespace
}  // namespace tavro::test
