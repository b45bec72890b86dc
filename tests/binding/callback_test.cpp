// Callbacks: their order, what they may do, and what becomes of those that fail or wait.

#include "stage.h"

namespace tavro::test {
namespace {

class callback : public device_stage {
protected:
    callback() { say(R"({"t":"hb","ms":1})"); }

    // Runs a script with a device that has heard of its port already.
    void prepare(const std::string& script) { EXPECT_EQ(run("std.wait(0);\n" + script), ""); }

    // Then says the lines, and returns what the next frame brings.
    std::string after(const std::string& script, std::string_view lines) {
        prepare(script);
        say(lines);
        return frame();
    }
};

constexpr const char* beat_with_cue =
    R"({"t":"beat","n":2,"bpm":120.0,"bb":1,"beat":9,"cue":0,"master":true})";
constexpr const char* two_warnings = R"({"t":"warn","msg":"a"}
{"t":"warn","msg":"b"})";

TEST_F(callback, the_special_one_comes_first_and_both_see_one_value) {
    EXPECT_EQ(after("def show(e) { std.print(e.type, e.n); e.mark = \"seen\"; }\n"
                    "d.on_event((e) { std.print(\"any\", e.type, e.mark ?? \"\"); });\n"
                    "d.on_beat((e) { show(e); if (e.master) std.print(\"master\"); });\n"
                    "d.on_cue(show);",
                    beat_with_cue),
              "any master |beat 2|master|any beat seen|cue 2|any cue seen|");
}

TEST_F(callback, is_exchanged_and_taken_away) {
    EXPECT_EQ(after("d.on_event((e) { d.on_event(() { std.print(\"second\"); d.on_event(None); });"
                    " std.print(\"first\"); });",
                    two_warnings),
              "first|second|");
}

TEST_F(callback, may_be_native) {
    EXPECT_EQ(after("d.on_event(std.args); d.on_beat(std.print);", beat_with_cue).substr(0, 7),
              "{\"ageMs");
}

TEST_F(callback, an_error_in_one_is_told_and_the_next_event_calls_again) {
    const std::string said =
        after("d.on_event((e) { std.print(e.msg); std.raise(\"broken\"); });", two_warnings);
    EXPECT_EQ(said.find("a|E "), 0u) << said;
    EXPECT_NE(said.find("broken"), said.npos) << said;
    EXPECT_NE(said.find("|b|E ", said.find("broken")), said.npos) << said;
}

TEST_F(callback, may_wait) {
    EXPECT_EQ(after("d.on_event((e) { std.print(\"soon\", e.msg); std.wait(0);"
                    " std.print(\"late\", e.msg); });",
                    two_warnings),
              "soon a|soon b|late a|late b|");
}

TEST_F(callback, only_so_many_wait_at_a_time) {
    prepare(
        "go = 0; n = 0;\n"
        "def hold() { n = n + 1; if (n > 64) std.print(\"again\", n); for (go == 0) std.wait(0); "
        "}\n"
        "d.on_event(hold);\n"
        "other = deckbus.device(); test.attach(other);\n"
        "other.on_event((e) { if (e.msg == \"go\") go = 1; });");
    say_warnings(0, 100);
    EXPECT_EQ(frame(),
              "W deckbus.device: 64 calls of callbacks wait for something; further ones are left "
              "out.|");
    say(R"({"t":"warn","msg":"go"})");
    EXPECT_EQ(frame(), "");
    say_warnings(0, 1);
    EXPECT_EQ(frame(), "again 65|");
}

TEST_F(callback, goes_on_when_the_task_that_set_it_is_over) {
    EXPECT_EQ(after("n = 5; def set_it(k) { d.on_event(() { std.print(n + k); std.wait(0);"
                    " std.print(\"on\"); }); }\nset_it(2);",
                    R"({"t":"warn","msg":"a"})"),
              "7|on|");
}

TEST_F(callback, ends_with_the_instance_whose_method_it_is) {
    EXPECT_EQ(after("class lamp { def hit(e) { std.print(\"hit\"); } }\n"
                    "l = lamp(); d.on_event(l.hit); l = None;",
                    two_warnings),
              "");
}

TEST_F(callback, may_close_its_device) {
    EXPECT_EQ(after("d.on_event((e) { std.print(e.msg); d.close(); });", two_warnings), "a|");
    say(two_warnings);
    EXPECT_EQ(frame(), "");
}

TEST_F(callback, may_attach_its_device_anew) {
    EXPECT_EQ(after("d.on_event((e) { std.print(e.type);"
                    " if (e.type == \"warn\") test.attach(d); });",
                    two_warnings),
              "warn|");
    EXPECT_EQ(frame(), "connected|");
}

TEST_F(callback, may_drop_its_device) {
    EXPECT_EQ(after("d.on_event((e) { std.print(e.msg); d = None; });", two_warnings), "a|b|");
    EXPECT_EQ(in->script.updates.live(), 0u);
    EXPECT_FALSE(in->script.has_work());
}

TEST_F(callback, may_ask_for_events) {
    EXPECT_EQ(after("d.events();\n"
                    "d.on_event((e) { std.print(e.msg, d.events().size()); });",
                    two_warnings),
              "a 2|b 0|");
}

// A script that asks for events in the midst of its work calls the callbacks too.
TEST_F(callback, runs_inside_of_events) {
    const std::string said =
        run("d.on_event((e) { std.print(\"heard\", e.type); std.raise(\"no\"); });\n"
            "all = d.events(); std.print(all.size());");
    EXPECT_EQ(said.find("heard connected|E "), 0u) << said;
    EXPECT_TRUE(said.ends_with("|1|")) << said;
}

TEST_F(callback, that_makes_devices_without_end_is_stopped) {
    const std::string said =
        run("deepest = 0;\n"
            "def dig() { deepest = deepest + 1; x = deckbus.device(); x.on_event(dig);"
            " test.attach(x); x.events(); }\n"
            "dig(); std.print(deepest > 100 && deepest < 300);");
    EXPECT_TRUE(said.ends_with("|1|")) << said;
    EXPECT_NE(said.find("callbacks call each other too deeply, one is left out."), said.npos);
}

TEST_F(callback, may_end_the_run) {
    EXPECT_EQ(after("d.on_event((e) { std.print(e.msg); std.exit(3); });", two_warnings), "a|");
    EXPECT_EQ(in->script.stop_status(), 3);
}

// More than a queue holds while a script is busy: the oldest go, and nothing else does.
TEST_F(callback, a_blocked_script_sees_the_latest_events) {
    prepare(
        "n = 0; first = None;\n"
        "d.on_event((e) { n = n + 1; first = first ?? e.msg;"
        " if (e.msg == \"2999\") std.print(n, first); });");
    say_warnings(0, 3000);
    EXPECT_EQ(frame(), tvr_join(deckbus::max_events, " ", 3000 - deckbus::max_events, "|"));
}

}  // namespace
}  // namespace tavro::test
