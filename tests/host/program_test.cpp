// The program as a person meets it: usage, pipes, and a terminal that is always put back.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <chrono>
#include <csignal>
#include <cstdlib>

#include "../deck/waiting.h"
#include "small_set.h"
#include "track/json.h"

namespace {

using namespace monitor::test;
using words = std::vector<std::string>;

[[noreturn]] void become_tavro(const words& arguments) {
    std::vector<char*> argv{const_cast<char*>("tavro")};
    for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(TAVRO_PROGRAM, argv.data());
    _exit(127);
}

struct outcome {
    int status = -1;  // exit status, or 128 and the signal
    std::string out, err;
};

int wait_for(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string slurp(int fd) {
    std::string all;
    char buffer[4096];
    ssize_t n;
    while ((n = read(fd, buffer, sizeof buffer)) > 0) all.append(buffer, size_t(n));
    return all;
}

// Runs it with its output in pipes until it ends.
outcome run(const words& arguments) {
    int out[2], err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return {};
    const pid_t child = fork();
    if (child == 0) {
        dup2(out[1], 1);
        dup2(err[1], 2);
        become_tavro(arguments);
    }
    close(out[1]);
    close(err[1]);
    outcome result;
    result.out = slurp(out[0]);
    result.err = slurp(err[0]);
    result.status = wait_for(child);
    close(out[0]);
    close(err[0]);
    return result;
}

TEST(program, wrong_usage_is_told_in_one_line) {
    const small_set file;
    struct row {
        const char* what;
        words arguments;
        int status;
    };
    const row rows[] = {
        {"nothing", {}, 2},
        {"unknown command", {"moniter"}, 2},
        {"no source", {"monitor"}, 2},
        {"unknown option", {"monitor", file.path, "--fast"}, 2},
        {"speed of nothing", {"monitor", file.path, "--speed", "0"}, 2},
        {"no number", {"monitor", file.path, "--for", "ever"}, 2},
        {"missing recording", {"monitor", "no_such.jsonl"}, 1},
        {"unwritable picture", {"monitor", file.path, "--once", "--png", "/nonexistent/a.png"}, 1},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const outcome o = run(r.arguments);
        EXPECT_EQ(o.status, r.status);
        EXPECT_TRUE(o.err.starts_with("tavro: ")) << o.err;
        EXPECT_EQ(o.err.find('\n'), o.err.size() - 1) << o.err;
    }
    EXPECT_EQ(run({"monitor", "--help"}).status, 0);
}

TEST(program, in_a_pipe_it_prints_events_and_a_summary) {
    const small_set file;
    const outcome o = run({"monitor", file.path, "--once"});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.err, "");
    for (const char* line :
         {"connected     replay:", "device        2  PLAYER  on",
          "beat          deck 2  2/4  beat 2  126.00 bpm  cue in 1  master  on air",
          "Tracks: 1\n  2:3:7  Night [2JBus - Nobody: 0 beats, 0 cues, 0 phrases\nHistory: 0\n"}) {
        EXPECT_NE(o.out.find(line), std::string::npos) << line << "\nin\n" << o.out;
    }
    EXPECT_EQ(o.out.find('\x1b'), std::string::npos);
}

TEST(program, json_is_a_snapshot_a_line) {
    const small_set file;
    const outcome o = run({"monitor", file.path, "--once", "--json"});
    EXPECT_EQ(o.status, 0);
    const std::string last = o.out.substr(o.out.rfind('\n', o.out.size() - 2) + 1);
    const auto view = deckbus::json::parse(last, nullptr, false);
    ASSERT_TRUE(view.is_object()) << o.out;
    EXPECT_EQ(view["players"].size(), 2u);
    EXPECT_EQ(view["status"], "");
}

// Runs the recording for ever into a pipe, and has read up to its first beat.
class in_pipe {
public:
    explicit in_pipe(const std::string& recording) {
        int out[2];
        if (pipe2(out, O_CLOEXEC) != 0) return;
        child = fork();
        if (child == 0) {
            dup2(out[1], 1);
            become_tavro({"monitor", recording});
        }
        close(out[1]);
        reader = out[0];
        char byte;
        while (got.find("beat ") == std::string::npos && read(reader, &byte, 1) == 1) got += byte;
    }
    ~in_pipe() {
        if (child > 0) {
            kill(child, SIGKILL);
            wait_for(child);
        }
        if (reader >= 0) close(reader);
    }
    in_pipe(const in_pipe&) = delete;
    in_pipe& operator=(const in_pipe&) = delete;

    int ends() {
        const int status = wait_for(child);
        child = -1;
        return status;
    }

    pid_t child = -1;
    int reader = -1;
    std::string got;
};

TEST(program, an_interrupt_in_a_pipe_still_gives_the_summary) {
    const small_set file;
    in_pipe tavro(file.path);
    kill(tavro.child, SIGINT);
    const std::string rest = slurp(tavro.reader);
    EXPECT_EQ(tavro.ends(), 0);
    EXPECT_NE(rest.find("Tracks: 1\n"), std::string::npos);
}

TEST(program, a_reader_that_leaves_ends_it_quietly) {
    const small_set file;
    in_pipe tavro(file.path);
    close(tavro.reader);
    tavro.reader = -1;
    EXPECT_EQ(tavro.ends(), 0);
}

TEST(program, can_be_stopped_and_continued_in_a_pipe) {
    const small_set file;
    in_pipe tavro(file.path);
    kill(tavro.child, SIGTSTP);
    int status = 0;
    ASSERT_EQ(waitpid(tavro.child, &status, WUNTRACED), tavro.child);
    EXPECT_TRUE(WIFSTOPPED(status));
    kill(tavro.child, SIGCONT);
    kill(tavro.child, SIGTERM);
    EXPECT_EQ(tavro.ends(), 0);
}

// The program on a terminal of its own.
class on_terminal {
public:
    explicit on_terminal(const words& arguments, const char* no_color = nullptr) {
        winsize size{24, 80, 0, 0};
        openpty(&master, &slave, nullptr, nullptr, &size);
        tcgetattr(slave, &before);
        child = fork();
        if (child != 0) return;
        login_tty(slave);
        setenv("TERM", "xterm-256color", 1);
        if (no_color != nullptr) setenv("NO_COLOR", no_color, 1);
        become_tavro(arguments);
    }
    ~on_terminal() {
        if (child > 0) {
            kill(child, SIGKILL);
            wait_for(child);
        }
        close(master);
        close(slave);
    }
    on_terminal(const on_terminal&) = delete;
    on_terminal& operator=(const on_terminal&) = delete;

    // Reads until the words have come since the last call; false after a long time without them.
    bool reads(const std::string& wanted) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (std::chrono::steady_clock::now() < deadline) {
            const size_t at = seen.find(wanted);
            if (at != std::string::npos) {
                seen.erase(0, at + wanted.size());
                return true;
            }
            pollfd ready{master, POLLIN, 0};
            char buffer[4096];
            if (poll(&ready, 1, 100) <= 0) continue;
            const ssize_t n = read(master, buffer, sizeof buffer);
            if (n <= 0) continue;
            seen.append(buffer, size_t(n));
            whole.append(buffer, size_t(n));
        }
        return false;
    }

    // True if the words came at any time up to now.
    bool ever_read(const std::string& wanted) const {
        return whole.find(wanted) != std::string::npos;
    }

    void types(const std::string& keys) const {
        EXPECT_EQ(write(master, keys.data(), keys.size()), ssize_t(keys.size()));
    }

    void resize(unsigned short width, unsigned short height) const {
        const winsize size{height, width, 0, 0};
        ioctl(master, TIOCSWINSZ, &size);
    }

    // True if the terminal's settings are those from before the program.
    bool settings_restored() const {
        termios now{};
        tcgetattr(slave, &now);
        return now.c_lflag == before.c_lflag && now.c_iflag == before.c_iflag;
    }

    int ends() {
        const int status = wait_for(child);
        child = -1;
        return status;
    }

    pid_t child = -1;

private:
    int master = -1, slave = -1;
    termios before{};
    std::string seen, whole;  // since the last words found; since the start
};

constexpr const char* restored = "\x1b[?25h\x1b[?1049l";  // cursor and screen of before

TEST(terminal, is_put_back_on_every_way_out) {
    const small_set file;
    struct row {
        const char* what;
        const char* keys;
        int signal;
        int status;
    };
    const row rows[] = {
        {"q", "q", 0, 0},
        {"Ctrl-C", "\x03", 0, 0},
        {"SIGTERM", "", SIGTERM, 0},
        {"SIGHUP", "", SIGHUP, 0},
        {"crash", "", SIGSEGV, 128 + SIGSEGV},
        {"abort", "", SIGABRT, 128 + SIGABRT},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        on_terminal tavro({"monitor", file.path});
        ASSERT_TRUE(tavro.reads("PLAYER"));
        EXPECT_FALSE(tavro.settings_restored()) << "keys are read one by one";
        if (r.signal != 0) kill(tavro.child, r.signal);
        if (*r.keys != '\0') tavro.types(r.keys);
        EXPECT_TRUE(tavro.reads(restored));
        const int status = tavro.ends();
        // A sanitizer reports the crash in its own way; it must not be taken for an orderly end.
        if (r.signal == SIGSEGV || r.signal == SIGABRT) {
            EXPECT_NE(status, 0);
        } else {
            EXPECT_EQ(status, r.status);
        }
        EXPECT_TRUE(tavro.settings_restored());
    }
}

TEST(terminal, is_put_back_while_the_program_is_stopped) {
    const small_set file;
    on_terminal tavro({"monitor", file.path});
    ASSERT_TRUE(tavro.reads("PLAYER"));
    tavro.types("\x1a");
    EXPECT_TRUE(tavro.reads(restored));
    int status = 0;
    ASSERT_EQ(waitpid(tavro.child, &status, WUNTRACED), tavro.child);
    EXPECT_TRUE(WIFSTOPPED(status));
    EXPECT_TRUE(tavro.settings_restored());
    kill(tavro.child, SIGCONT);
    EXPECT_TRUE(tavro.reads("\x1b[?1049h")) << "it takes the screen again";
    EXPECT_TRUE(tavro.reads("PLAYER")) << "and draws everything anew";
    tavro.types("q");
    EXPECT_EQ(tavro.ends(), 0);
}

TEST(terminal, follows_a_resize_and_says_when_there_is_no_room) {
    const small_set file;
    on_terminal tavro({"monitor", file.path});
    ASSERT_TRUE(tavro.reads("PLAYER"));
    tavro.resize(30, 8);
    EXPECT_TRUE(tavro.reads("30x8,"));
    tavro.resize(100, 30);
    EXPECT_TRUE(tavro.reads("PLAYER"));
}

TEST(terminal, obeys_no_color) {
    const small_set file;
    for (const bool colors : {true, false}) {
        on_terminal tavro({"monitor", file.path}, colors ? nullptr : "1");
        ASSERT_TRUE(tavro.reads("PLAYER"));
        tavro.types("\x0cq");  // one more whole picture
        EXPECT_TRUE(tavro.reads(restored));
        EXPECT_EQ(tavro.ever_read("\x1b[38;5;"), colors);
        EXPECT_EQ(tavro.ends(), 0);
    }
}

TEST(terminal, a_terminal_that_takes_nothing_does_not_hold_it) {
    const small_set file;
    on_terminal tavro({"monitor", file.path});
    ASSERT_TRUE(tavro.reads("PLAYER"));
    // Nobody reads any more: pictures wait, and the signal is obeyed all the same.
    for (int i = 0; i < 20; ++i) tavro.resize(static_cast<unsigned short>(200 + i), 60);
    kill(tavro.child, SIGTERM);
    EXPECT_EQ(tavro.ends(), 0);
}

}  // namespace
