// `tavro record`: what a board says, as a recording.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "../support/scratch.h"
#include "../support/tavro_process.h"
#include "../support/waiting.h"
#include "deck/recording.h"
#include "host/line_recorder.h"

namespace {

namespace fs = std::filesystem;

class recording : public testing::Test {
protected:
    const test_support::scratch folder;
    const std::string path = folder.path("set.jsonl");
    std::string error;
};

TEST(recorded_line, has_its_time_in_front) {
    const struct {
        const char* what;
        const char* line;
        const char* recorded;
    } rows[] = {
        {"a line", R"({"t":"hb","ms":1})", R"({"rx":1.500000,"t":"hb","ms":1})"},
        {"an end of line that boards send", "{\"t\":\"hb\"}\r", R"({"rx":1.500000,"t":"hb"})"},
        {"an empty object", "{ }", R"({"rx":1.500000 })"},
        {"cut off", R"({"t":"be)", R"({"rx":1.500000,"t":"be)"},
        {"what a board says when it starts", "rst:0x1 (POWERON)", "rst:0x1 (POWERON)"},
        {"nothing", "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(host::recorded_line(row.line, 1.5), row.recorded);
    }
}

void say(deckbus::session& board, const std::string& line, double t) {
    tvr_lock hold(board.mutex);
    board.feed(line, t);
}

TEST_F(recording, holds_every_line_with_its_arrival) {
    const auto board = deckbus::session::open_network();
    {
        host::line_recorder recorder(board);
        const double start = deckbus::now_s();
        ASSERT_TRUE(recorder.create(path, error)) << error;
        say(*board, R"({"t":"hb","ms":1})", start + 1);
        say(*board, "no line", start + 2);
        ASSERT_TRUE(recorder.write(error)) << error;
        say(*board, R"({"t":"warn","msg":"hot"})", start + 3);
        ASSERT_TRUE(recorder.finish(error)) << error;
        EXPECT_EQ(recorder.lines(), 3u);
        EXPECT_EQ(recorder.bytes(), fs::file_size(path));
    }
    say(*board, R"({"t":"hb","ms":2})", deckbus::now_s());  // nobody records any more
    const deckbus::recording read = deckbus::load_recording(path, error);
    ASSERT_EQ(read.size(), 2u) << error;
    EXPECT_NE(read[1].line.find(R"("t":"warn","msg":"hot"})"), std::string::npos);
    EXPECT_NEAR(read[1].t - read[0].t, 2.0, 1e-5);
}

TEST_F(recording, leaves_a_file_alone_that_exists) {
    std::ofstream(path) << "precious";
    host::line_recorder recorder(deckbus::session::open_network());
    EXPECT_FALSE(recorder.create(path, error));
    EXPECT_EQ(error, path + " exists already");
    EXPECT_FALSE(recorder.create("/nowhere/set.jsonl", error));
    EXPECT_EQ(error, "Cannot write /nowhere/set.jsonl: No such file or directory");
    EXPECT_EQ(fs::file_size(path), 8u);
}

TEST_F(recording, a_board_is_written_down_until_a_signal) {
    const test_support::pseudo_terminal port(test_support::pseudo_terminal::mode::raw);
    host::test::in_pipe tavro({"record", port.path, "-o", path});
    // The first line is heard once the port is open; before, the terminal keeps it.
    const std::string line = "{\"t\":\"warn\",\"msg\":\"hot\"}\n";
    EXPECT_TRUE(test_support::eventually([&] {
        const bool taken = write(port.master, line.data(), line.size()) > 0;
        return taken && deckbus::load_recording(path, error).size() >= 3;
    }));
    tavro.child.signal(SIGINT);
    EXPECT_EQ(tavro.ends(), 0);
    EXPECT_GE(deckbus::load_recording(path, error).size(), 3u);
}

TEST(record, refuses_what_is_no_board) {
    const auto found = host::test::run({"record", "/nowhere/set.jsonl", "-o", "x"});
    EXPECT_EQ(found.status, 1);
    EXPECT_EQ(found.err, "tavro: /nowhere/set.jsonl is no board\n");
    EXPECT_EQ(host::test::run({"record", "auto"}).status, 2);
}

}  // namespace
