// The log: what the terminal gets, byte by byte, and who else hears it.

#include "runtime/log/log.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <barrier>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <thread>
#include <utility>

#include "runtime/local/error_sink.h"
#include "runtime/local/thread_local.h"

namespace {

// What a descriptor gets while this lives.
class captured {
public:
    explicit captured(int from) : descriptor(from), before(::dup(from)), file(std::tmpfile()) {
        ::dup2(::fileno(file), descriptor);
    }
    ~captured() {
        ::dup2(before, descriptor);
        ::close(before);
        std::fclose(file);
    }
    captured(const captured&) = delete;
    captured& operator=(const captured&) = delete;

    std::string text() const {
        std::string out(size_t(::lseek(::fileno(file), 0, SEEK_END)), '\0');
        const ssize_t got = ::pread(::fileno(file), out.data(), out.size(), 0);
        return got == ssize_t(out.size()) ? out : "unreadable";
    }

private:
    int descriptor, before;
    FILE* file;
};

// An environment variable for a scope; unset without a value.
class environment {
public:
    environment(const char* variable, const char* value) : name(variable) {
        if (const char* old = std::getenv(variable)) before = old;
        set(value);
    }
    ~environment() { set(before ? before->c_str() : nullptr); }
    environment(const environment&) = delete;
    environment& operator=(const environment&) = delete;

private:
    void set(const char* value) const {
        if (value != nullptr) {
            ::setenv(name, value, 1);
        } else {
            ::unsetenv(name);
        }
    }
    const char* name;
    std::optional<std::string> before;
};

class named_thread {
public:
    explicit named_thread(std::string_view name) { tvr_local().set_thread_name(name); }
    ~named_thread() { tvr_local().set_thread_name(""); }
    named_thread(const named_thread&) = delete;
    named_thread& operator=(const named_thread&) = delete;
};

struct spoken {
    std::string out, error;
};

// What a new log writes, made in this environment.
spoken speak(const char* no_color, const char* term,
             const std::function<void(tvr_log_default&)>& say) {
    const environment color("NO_COLOR", no_color), terminal("TERM", term);
    const captured out(STDOUT_FILENO), error(STDERR_FILENO);
    tvr_log_default log;
    say(log);
    return {out.text(), error.text()};
}

TEST(log_default, marks_each_level) {
    struct row {
        const char* what;
        void (*say)(tvr_log_default&);
        spoken plain, colored;
    };
    const row rows[] = {
        {"log",
         [](tvr_log_default& l) { l.log("a", 1, '!'); },
         {"", "[deck] * a1!\n"},
         {"", "\033[32;40m[\033[34;40mdeck\033[32;40m] * \033[37;40ma1!\033[0m\n"}},
        {"output",
         [](tvr_log_default& l) { l.print("a"); },
         {"[deck] > a\n", ""},
         {"\033[32;40m[\033[34;40mdeck\033[32;40m] > \033[37;40ma\033[0m\n", ""}},
        {"error",
         [](tvr_log_default& l) { l.err(""); },
         {"", "[deck] ! \n"},
         {"", "\033[31;40m[\033[34;40mdeck\033[31;40m] ! \033[37;40m\033[0m\n"}},
        {"warning",
         [](tvr_log_default& l) { l.warn("a"); },
         {"", "[deck] ! a\n"},
         {"", "\033[33;40m[\033[34;40mdeck\033[33;40m] ! \033[37;40ma\033[0m\n"}},
        {"verbose, not wanted", [](tvr_log_default& l) { l.verbose("a"); }, {}, {}},
        {"debug",
         [](tvr_log_default& l) {
             l.mask = tvr_log_base::level_verbose;
             l.log("gated");
             l.debugmsg("a");
         },
         {"", "[deck] # a\n"},
         {"", "\033[32;40m[\033[34;40mdeck\033[32;40m] # \033[37;40ma\033[0m\n"}},
        {"raw text", [](tvr_log_default& l) { l.on_cout("a\tb"); }, {"a\tb", ""}, {"a\tb", ""}},
    };
    const named_thread name("deck");
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const spoken plain = speak("1", "xterm", r.say), colored = speak(nullptr, "xterm", r.say);
        EXPECT_EQ(plain.out, r.plain.out);
        EXPECT_EQ(plain.error, r.plain.error);
        EXPECT_EQ(colored.out, r.colored.out);
        EXPECT_EQ(colored.error, r.colored.error);
        EXPECT_EQ(speak(nullptr, "dumb", r.say).error, r.plain.error);
        EXPECT_EQ(speak(nullptr, nullptr, r.say).error, r.plain.error);
    }
}

TEST(log_default, sets_colors_by_name_and_number) {
    struct row {
        const char *foreground, *background, *escape;
    };
    const row rows[] = {
        {"red", "black", "\033[31;40m"}, {"bright_white", "brightblue", "\033[97;104m"},
        {"33", "47", "\033[33;47m"},     {"magenta", "cyan", "\033[35;46m"},
        {"orange", "black", ""},         {"red", "", ""},
        {"brightest", "black", ""},      {"red", "99999999999", ""},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(tvr_join(r.foreground, " on ", r.background));
        const auto paint = [&](tvr_log_default& l) { l.set_color(r.foreground, r.background); };
        EXPECT_EQ(speak(nullptr, "xterm", paint).out, r.escape);
        EXPECT_EQ(speak("1", "xterm", paint).out, "");
    }
}

TEST(log_default, names_threads_without_a_name_by_number) {
    const auto line_of_new_thread = [] {
        return speak("1", nullptr,
                     [](tvr_log_default& log) { std::thread([&] { log.log("a"); }).join(); })
            .error;
    };
    const std::string first = line_of_new_thread();
    EXPECT_EQ(first.substr(0, 2), "[_");
    EXPECT_EQ(first.substr(first.size() - 6), "] * a\n");
    EXPECT_NE(first, line_of_new_thread());
}

TEST(thread_name, is_cut_between_characters) {
    const std::string umlauts = "x" + [] {
        std::string text;
        for (int i = 0; i < 40; ++i) text += "ü";
        return text;
    }();
    const named_thread name(umlauts);
    EXPECT_EQ(tvr_local().thread_name(), umlauts.substr(0, 63));
}

struct listener : tvr_log_observer {
    void on_log_message(std::string_view text) override { hear("log ", text); }
    void on_error_message(std::string_view text) override { hear("error ", text); }
    void on_warn_message(std::string_view text) override { hear("warn ", text); }
    void on_verbose_message(std::string_view text) override { hear("verbose ", text); }
    void on_debug_message(std::string_view text) override { hear("debug ", text); }

    void hear(const char* level, std::string_view text) {
        heard += tvr_join(level, text, ';');
        if (const auto call = std::exchange(then, nullptr)) call();
    }
    std::string heard;
    std::function<void()> then;  // once
};

TEST(log_observer, hears_every_level) {
    tvr_log_base log;
    log.mask = tvr_log_base::level_log | tvr_log_base::level_verbose;
    listener ear;
    const auto entry = log.observe(ear);
    log.print(1);
    log.log(2);
    log.err(3);
    log.warn(4);
    log.verbose(5);
    log.debugmsg(6);
    EXPECT_EQ(ear.heard, "log 1;log 2;error 3;warn 4;verbose 5;debug 6;");
    log.release_entry(entry);
    log.print(7);
    EXPECT_EQ(ear.heard.find('7'), std::string::npos);
}

TEST(log_observer, may_change_the_list_and_speak_from_inside_its_call) {
    tvr_log_base log;
    listener first, second, added;
    auto first_entry = log.observe(first), second_entry = log.observe(second);
    std::shared_ptr<tvr_log_base::observer_entry> added_entry;
    first.then = [&] {
        log.release_entry(first_entry);
        log.release_entry(second_entry);
        added_entry = log.observe(added);
        log.warn("inner");
    };
    log.log("outer");
    EXPECT_EQ(first.heard, "log outer;");
    EXPECT_EQ(second.heard, "");
    EXPECT_EQ(added.heard, "warn inner;");
    log.log("next");
    EXPECT_EQ(added.heard, "warn inner;log next;");
}

// Both threads stand inside the same observer when both take it out.
TEST(log_observer, two_threads_may_remove_it_at_once) {
    tvr_log_base log;
    struct : tvr_log_observer {
        void on_log_message(std::string_view) override {
            inside.arrive_and_wait();
            log->release_entry(entry);
        }
        tvr_log_base* log = nullptr;
        std::shared_ptr<tvr_log_base::observer_entry> entry;
        std::barrier<> inside{2};
    } leaving;
    leaving.log = &log;
    leaving.entry = log.observe(leaving);
    std::thread other([&] { log.log("a"); });
    log.log("b");
    other.join();
    EXPECT_EQ(leaving.entry.use_count(), 1);
}

TEST(log_observer, may_go_once_it_is_released) {
    struct slow : tvr_log_observer {
        void on_log_message(std::string_view) override {
            entered = true;
            while (!releasing) std::this_thread::yield();
            for (int i = 0; i < 1000; ++i) std::this_thread::yield();
            left = true;
        }
        std::atomic<bool> entered{false}, releasing{false}, left{false};
    };
    tvr_log_base log;
    const auto ear = std::make_unique<slow>();
    const auto entry = log.observe(*ear);
    std::thread speaker([&] { log.log("a"); });
    while (!ear->entered) std::this_thread::yield();
    ear->releasing = true;
    log.release_entry(entry);
    EXPECT_TRUE(ear->left);
    speaker.join();
}

TEST(error_sink, takes_errors_and_without_one_the_log_does) {
    struct : tvr_error_sink {
        void on_runtime_error(const std::string& message) override { got += "e:" + message; }
        void on_runtime_warning(const std::string& message) override { got += "w:" + message; }
        std::string got;
    } sink;
    tvr_log_base log;
    listener ear;
    const auto entry = log.observe(ear);
    tvr_local().log = &log;
    runtime_error("a", 1);
    runtime_warning("b");
    tvr_local().errors = &sink;
    runtime_error("c", 2.5);
    runtime_warning("d");
    tvr_local().errors = nullptr;
    tvr_local().log = nullptr;
    EXPECT_EQ(ear.heard, "error a1;warn b;");
    EXPECT_EQ(sink.got, "e:c2.5w:d");
}

}  // namespace
