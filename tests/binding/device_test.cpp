// What a device answers, and how its events come to a script that asks for them.

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "stage.h"

namespace tavro::test {
namespace {

class device : public device_stage {};

constexpr const char* a_set =
    R"({"t":"hello","fw":"0.5.1","board":"bridge"}
{"t":"dev","n":1,"on":true,"name":"left","type":1}
{"t":"dev","n":33,"on":true,"name":"mixer","type":2}
{"t":"trk","n":1,"id":"1:3:42","meta":true}
{"t":"meta","id":"1:3:42","title":"Night","artist":"Ada","key":"Am","size":3,"big":18446744073709551615,"us":7}
{"t":"metaok","id":"1:3:42"}
{"t":"st","n":1,"bpm":120.0,"pitch":5.0,"play":true,"air":true,"master":true,"beat":7,"bb":3,"cue":4}
{"t":"beat","n":1,"bpm":120.0,"pitch":5.0,"bb":3,"beat":7,"cue":4,"air":true,"master":true})";

TEST_F(device, closed_it_answers_all_the_same) {
    EXPECT_EQ(run("d.close();\n"
                  "std.print(d.connected(), d.port() == \"\", d.error() == \"\", d.master(),"
                  " d.player(1), d.track(\"x\"), d.history(), d.history_count(), d.state());\n"
                  "std.print(d.deck_texture_info(1), d.deck_texture(1), d.artwork(1), d.events(),"
                  " d.take_audio(), d.history_save());\n"
                  "d.send(\"info\"); d.history_clear(); d.close();"),
              "0 1 1    [] 0 |   [] [] |");
}

TEST_F(device, shows_the_decks) {
    say(a_set);
    EXPECT_EQ(
        run("std.print(d.connected(), d.port(), d.error() == \"\");\n"
            "p = d.player(1); m = d.master();\n"
            "std.print(p.n, p.name, p.effectiveBpm, p.beatInBar, p.beatsToCue, p.track.title);\n"
            "std.print(m.n, m.beat, d.player(33).name, d.player(9), d.player(-4),"
            " d.player(10000000000));\n"
            "s = d.state();\n"
            "std.print(s.master, s.port, s.esp.fw, s.players.size());\n"
            "if (p.master && !p.sync) std.print(\"truth\", p.playing == 1);"),
        "1 tavronet 1|1 left 126.000000 3 4 Night|1 7 mixer   |"
        "1 tavronet 0.5.1 2|truth 1|");
}

TEST_F(device, shows_a_track_as_it_was_told) {
    say(a_set);
    // A key that is named like a method is the key; "us" of the line stays in it, "t" does not.
    EXPECT_EQ(
        run("t = d.track(\"1:3:42\");\n"
            "std.print(t.title, t.artist, t.key, t.size, t.size(), t.big, t.us, t.has(\"t\"));\n"
            "std.print(t.complete == 1, t.hasArt == 0, t.cues, d.track(\"1:3:43\"));"),
        "Night Ada Am 3 15 -1 7 0|1 1  |");
}

TEST_F(device, arguments_that_do_not_fit_are_errors) {
    const struct {
        const char* call;
        const char* message;
    } rows[] = {
        {"d.player(\"one\")", "deckbus.device.player: n is \"one\" (string), not a whole number."},
        {"d.artwork(None)", "deckbus.device.artwork: n is None, not a whole number."},
        {"d.deck_texture(1.5)",
         "deckbus.device.deck_texture: n is 1.5 (float), not a whole number."},
        {"d.on_beat(5)", "deckbus.device.on_beat: callback is 5 (int), not a function."},
        {"d.on_cue((a, b) { })",
         "deckbus.device.on_cue: callback wants 2 arguments and is given one."},
        {"d.replay()", "invalid parameter count 0 min: 1 max: 3"},
        {"d.replay(\"/nowhere/set.jsonl\")", "Cannot open file: /nowhere/set.jsonl"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.call);
        const std::string text =
            run(tvr_join("try { x = ", row.call, "; } catch (e) { std.print(e); }"));
        EXPECT_EQ(text, tvr_join(row.message, "|"));
    }
}

TEST_F(device, keeps_the_error_of_a_replay_until_it_is_attached) {
    EXPECT_EQ(run("try { d.replay(\"/nowhere/set.jsonl\"); } catch (e) {}\n"
                  "std.print(d.error(), d.connected());\n"
                  "d.close(); std.print(d.error());\n"
                  "test.attach(d); d.close(); std.print(d.error() == \"\");"),
              "Cannot open file: /nowhere/set.jsonl 0|Cannot open file: /nowhere/set.jsonl|1|");
}

TEST_F(device, sends_commands_as_they_stand) {
    run("d.send(\"demo 1\"); d.send(\"audio mic\");");
    tvr_lock hold(board->mutex);
    EXPECT_EQ(board->outgoing, (std::vector<std::string>{"demo 1", "audio mic"}));
}

TEST_F(device, gives_events_from_the_first_question_on) {
    in->start(
        "import deckbus; d = deckbus.device(); test.attach(d); std.wait(0);\n"
        "std.wait(0); std.print(d.events());\n"
        "std.wait(0); std.print(d.events()[0].msg, d.events());");
    frame();
    frame();
    say_warnings(0, 3);
    EXPECT_EQ(frame(), "[]|");  // these came before anybody had asked
    say_warnings(3, 4);
    EXPECT_EQ(frame(), "3 []|");
}

TEST_F(device, keeps_the_latest_256_events) {
    const auto task = in->start(
        "import deckbus; d = deckbus.device(); test.attach(d); d.events();\n"
        "std.wait(0);\n"
        "all = d.events();\n"
        "std.print(all.size(), all[0].msg, all[-1].msg, d.events().size());\n"
        "std.wait(0);\n"
        "d.close(); all = d.events();\n"
        "std.print(all.size(), all[0].msg, d.events().size());");
    frame();
    say_warnings(0, 256);  // behind them "connected" of the first line is the 257th
    EXPECT_EQ(frame(), "256 0 255 0|");
    say_warnings(256, 257);
    EXPECT_EQ(frame(), "1 256 0|");
    EXPECT_TRUE(task->ended());
}

TEST_F(device, tells_what_an_event_is_and_how_old) {
    const auto task = in->start(
        "import deckbus; d = deckbus.device(); test.attach(d); d.events();\n"
        "std.wait(0);\n"
        "all = d.events();\n"
        "for (i = 0; i < all.size(); i++) {\n"
        "    e = all[i];\n"
        "    std.print(e.type, e.ageMs >= 2000 && e.ageMs < 60000, e.size());\n"
        "    if (e.type == \"device\") std.print(e.n, e.name, e.on == 1);\n"
        "    if (e.type == \"track\") std.print(e.id);\n"
        "}");
    frame();
    say(R"({"t":"hb","ms":50000}
{"t":"dev","n":2,"on":true,"name":"right","type":1}
{"t":"trk","n":2,"id":null}
{"t":"trk","n":2,"id":"2:3:7"}
{"t":"hb","ms":100})",
        2.0);
    // The type of a device event is its kind, not the device's; a restart has nothing else.
    EXPECT_EQ(frame(), "connected 1 3|device 1 5|2 right 1|track 1 4|2:3:7|restart 1 2|");
    EXPECT_TRUE(task->ended());
}

TEST_F(device, hears_of_its_port_at_every_attachment) {
    say(R"({"t":"hb","ms":1})");
    EXPECT_EQ(run("d.events(); test.attach(d); test.attach(d); all = d.events();\n"
                  "std.print(all.size()); std.wait(20); test.attach(d); all = d.events();\n"
                  "std.print(all.size(), all[-1].type, all[-1].port);"),
              "1|1 connected tavronet|");
}

TEST_F(device, tells_of_a_silent_network) {
    say(R"({"t":"hb","ms":1})", 3.5);
    EXPECT_EQ(
        run("d.events(); std.wait(20); all = d.events(); std.print(all[-1].type, all[-1].reason);\n"
            "std.print(d.connected(), d.port() == \"\", d.error());"),
        "disconnected No data from the relay (TavroNet)|"
        "0 1 No data from the relay (TavroNet)|");
}

TEST_F(device, hands_sound_over) {
    say(R"({"t":"pcm","sr":16000,"seq":5,"us":9,"d":"AIAAQA=="})");
    EXPECT_EQ(run("all = d.take_audio(); a = all[0];\n"
                  "std.print(all.size(), a.rate, a.seq, a.samples, a.values, std.type(a.data),"
                  " a.data[1]);\n"
                  "std.print(d.take_audio());"),
              "1 16000 5 2 [-1.0,0.5] binary 128|[]|");
    say(R"({"t":"pcm","sr":16000,"seq":6,"us":9,"d":"AIAAQA=="})");
    EXPECT_EQ(run("std.print(d.take_audio(false)[0].has(\"values\"));"), "0|");
}

// A track counts once it was heard for 30 seconds; here they pass in no time.
class set_list : public device_stage {
protected:
    set_list() {
        say(a_set, 40.0);
        for (double ago = 40.0; ago > 0; ago -= 0.5) {
            say(R"({"t":"st","n":1,"bpm":120.0,"play":true,"air":true})", ago);
        }
    }
};

TEST_F(set_list, is_shown_and_emptied) {
    EXPECT_EQ(run("h = d.history(); e = h[0];\n"
                  "std.print(h.size(), e.n, e.title, e.artist, e.key, e.bpm, std.size(e.time),"
                  " e.epoch > 1000000000, e.has(\"t\"));\n"
                  "std.print(d.history_count()); d.history_clear();\n"
                  "std.print(d.history(), d.history_count());"),
              "1 1 Night Ada Am 120.000000 5 1 0|1|[] 2|");
}

TEST_F(set_list, is_saved) {
    namespace fs = std::filesystem;
    const fs::path home = fs::temp_directory_path() / tvr_join("set-list-", getpid());
    fs::create_directories(home);
    setenv("HOME", home.c_str(), 1);
    const std::string path = run("std.print(d.history_save(\"txt\"));");
    std::ifstream file(path.substr(0, path.size() - 1));
    std::string line;
    std::getline(file, line);
    EXPECT_EQ(line.substr(5), "  Ada - Night\r") << path;
    fs::permissions(home, fs::perms::none);
    fs::remove_all(home / "Documents");
    setenv("HOME", "/dev/null", 1);
    EXPECT_EQ(run("std.print(d.history_save());"), "|");
    fs::permissions(home, fs::perms::all);
    fs::remove_all(home);
}

TEST_F(device, lists_ports_without_a_device) {
    EXPECT_EQ(run("std.print(std.type(deckbus.ports()));"), "json|");
    EXPECT_EQ(run("std.print(std.docs(\"deckbus\").description);"),
              "CDJ data (Pro DJ Link) from the deckbus-bridge ESP32 over USB|");
}

}  // namespace
}  // namespace tavro::test
