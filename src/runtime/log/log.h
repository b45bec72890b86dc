#pragma once

// Where everything that the engine and its scripts say goes.
//
// A message is joined from its parts, given to the hook of its level, and then to every observer.
// A host brings its own log by overriding the hooks; tvr_log_default writes to the terminal.
// tvr_log() finds the log of the calling thread's interpreter, or the process-wide default.
//
// Threads: any. The hooks are called on the thread that speaks, without a lock; a broadcast walks
// the observers under the log's mutex, which may be taken again by the same thread, so that an
// observer can remove itself from inside its own call.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "base/join.h"

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

    // One observer in the list. Lives until the last broadcast that pinned it has left it.
    struct observer_entry {
        tvr_log_observer* observer = nullptr;  // null once released
    };

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

    // Adds an observer, which must outlive its entry. Keep the result for release_entry().
    std::shared_ptr<observer_entry> observe(tvr_log_observer& observer);

    // Takes an observer out; no call reaches it afterwards, but one that is running on this
    // thread ends normally.
    void release_entry(const std::shared_ptr<observer_entry>& entry);

    // Read by every speaker, written by whoever configures; a stale value costs a line at most.
    std::atomic<uint32_t> mask{level_log};

private:
    using hook = void (tvr_log_base::*)(std::string_view);
    using observer_hook = void (tvr_log_observer::*)(std::string_view);
    void say(const std::string& text, hook to, observer_hook also);

    std::recursive_mutex observers_mutex;
    std::vector<std::shared_ptr<observer_entry>> observers;  // under observers_mutex
};

// The log of the terminal: one line a message, "[thread" and a marker in front, in colour unless
// NO_COLOR is set or TERM is unset or "dumb". What scripts print (on_output) and raw text
// (on_cout) go to standard output, all else to standard error.
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
    void write_line(int descriptor, const char* marker, const char* color, std::string_view text);

    bool colored = false;
};

// The log of the calling thread's interpreter, or the process-wide default.
tvr_log_base& tvr_log();
