#pragma once

// Where everything that the engine and its scripts say goes.
//
// A message is joined from its parts, given to the hook of its level, and then to every observer.
// A host brings its own log by overriding the hooks; tvr_log_default writes to the terminal.
// tvr_log() finds the log of the calling thread's interpreter, or the process-wide default.
//
// Threads: any. Hooks and observers are called on the thread that speaks, with no lock held, so
// they may log, take locks of their own, and add or release observers. A broadcast copies nothing:
// it walks the list under the log's mutex and gives the mutex back for each call. While a broadcast
// is on its way the list only grows; what was released meanwhile leaves it with the last walker.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/forever.h"
#include "base/join.h"
#include "base/sync.h"

// Hears what goes through a log. Every default does nothing.
class tvr_log_observer {
public:
    virtual ~tvr_log_observer() = default;
    virtual void on_log_message(std::string_view) {}
    virtual void on_error_message(std::string_view) {}
    virtual void on_warn_message(std::string_view) {}
    virtual void on_verbose_message(std::string_view) {}
    virtual void on_debug_message(std::string_view) {}
};

class tvr_log_base {
public:
    // Bits of the level mask; what has no bit is always said.
    enum level : uint32_t {
        level_log = 0x02,
        level_verbose = 0x08,  // also debug messages
    };

    // One observer in the list. Both fields belong to the log's mutex.
    struct observer_entry {
        tvr_log_observer* observer = nullptr;  // null once released
        uint32_t callers = 0;                  // calls that are running, on whatever thread
    };

    tvr_log_base() = default;
    tvr_log_base(const tvr_log_base&) = delete;
    tvr_log_base& operator=(const tvr_log_base&) = delete;
    virtual ~tvr_log_base() = default;

    // The hooks. The base's do nothing.
    virtual void on_log(std::string_view) {}
    virtual void on_output(std::string_view) {}  // what a script prints
    virtual void on_cout(std::string_view) {}    // text as it is, without a line of its own
    virtual void on_error(std::string_view) {}
    virtual void on_warn(std::string_view) {}
    virtual void on_verbose(std::string_view) {}
    virtual void on_debug(std::string_view) {}
    virtual void set_color(unsigned /*foreground*/, unsigned /*background*/) {}
    virtual void set_color(std::string_view /*foreground*/, std::string_view /*background*/) {}

    template <typename... T>
    void print(const T&... parts) {
        say(tvr_join(parts...), &tvr_log_base::on_output, &tvr_log_observer::on_log_message);
    }
    template <typename... T>
    void log(const T&... parts) {
        if (!speaks(level_log)) return;
        say(tvr_join(parts...), &tvr_log_base::on_log, &tvr_log_observer::on_log_message);
    }
    template <typename... T>
    void warn(const T&... parts) {
        say(tvr_join(parts...), &tvr_log_base::on_warn, &tvr_log_observer::on_warn_message);
    }
    template <typename... T>
    void err(const T&... parts) {
        say(tvr_join(parts...), &tvr_log_base::on_error, &tvr_log_observer::on_error_message);
    }
    // These two join nothing unless somebody wants it.
    template <typename... T>
    void verbose(const T&... parts) {
        if (!speaks(level_verbose)) return;
        say(tvr_join(parts...), &tvr_log_base::on_verbose, &tvr_log_observer::on_verbose_message);
    }
    template <typename... T>
    void debugmsg(const T&... parts) {
        if (!speaks(level_verbose)) return;
        say(tvr_join(parts...), &tvr_log_base::on_debug, &tvr_log_observer::on_debug_message);
    }

    bool speaks(level bit) const { return (mask.load(std::memory_order_relaxed) & bit) != 0; }

    // Adds an observer, which must outlive its entry. Keep the result for release_entry(). A
    // broadcast that is on its way passes it by.
    std::shared_ptr<observer_entry> observe(tvr_log_observer& observer) TVR_EXCLUDES(mutex);

    // Takes an observer out; no new call reaches it. Waits until calls on other threads have ended,
    // after which the observer may go. From inside any observer's call it does not wait, since two
    // threads could wait for each other: what runs then ends by itself, and another release_entry()
    // from outside waits for it.
    void release_entry(const std::shared_ptr<observer_entry>& entry) TVR_EXCLUDES(mutex);

    // Read by every speaker, written by whoever configures; a stale value costs a line at most.
    std::atomic<uint32_t> mask{level_log};

private:
    using hook = void (tvr_log_base::*)(std::string_view);
    using observer_hook = void (tvr_log_observer::*)(std::string_view);
    class list_walk;
    class observer_call;

    void say(std::string_view text, hook to, observer_hook also) {
        (this->*to)(text);
        broadcast(text, also);
    }
    void broadcast(std::string_view text, observer_hook to) TVR_EXCLUDES(mutex);
    void drop_released() TVR_REQUIRES(mutex);

    // The observers' calls that are running on this thread, innermost first.
    static thread_local const observer_call* t_held_entries;

    tvr_mutex mutex;  // innermost: nothing is called while it is held
    std::condition_variable_any call_ended;
    std::vector<std::shared_ptr<observer_entry>> observers TVR_GUARDED_BY(mutex);
    uint32_t walkers TVR_GUARDED_BY(mutex) = 0;  // broadcasts on their way
};

// The log of the terminal: one line a message, "[thread" and a marker in front, in colour unless
// NO_COLOR is set or TERM is unset or "dumb". What scripts print (on_output) and raw text
// (on_cout) go to standard output, all else to standard error. A line is a single write, so lines
// of several threads and processes do not mix. May block on whoever reads the output.
class tvr_log_default : public tvr_log_base {
public:
    tvr_log_default();

    void on_log(std::string_view text) override;
    void on_output(std::string_view text) override;
    void on_cout(std::string_view text) override;
    void on_error(std::string_view text) override;
    void on_warn(std::string_view text) override;
    void on_verbose(std::string_view text) override;
    void on_debug(std::string_view text) override;
    void set_color(unsigned foreground, unsigned background) override;
    // "red", "bright_red", "brightred", or a number. An unknown name changes nothing.
    void set_color(std::string_view foreground, std::string_view background) override;

private:
    void write_line(int descriptor, std::string_view marker, unsigned color, std::string_view text);

    bool colored;  // from the environment, when the log is made
};

// The process-wide default. Made at first use and never destroyed.
inline tvr_log_default& tvr_log_terminal() {
    static tvr_forever<tvr_log_default> held;
    return held.get();
}

// The log of the calling thread's interpreter, or the process-wide default.
tvr_log_base& tvr_log();
