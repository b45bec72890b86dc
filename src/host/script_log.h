#pragma once

// The log of a run: what the script prints goes to standard output as it is, all else to standard
// error in the form of the default log.
//
// Lines for standard output are collected and written before every wait of the host, before
// anything goes to standard error, and when there are many; on a terminal each is written at once.
// Threads: any. Its mutex is held while it writes, which may block on whoever reads the output.

#include <functional>
#include <string>
#include <string_view>

#include "base/sync.h"
#include "host/script_options.h"
#include "runtime/log/log.h"

namespace host {

class script_log : public tvr_log_default {
public:
    explicit script_log(const script_options& asked);  // -q and -v count
    ~script_log() override { flush(); }

    void on_output(std::string_view text) override;
    void on_cout(std::string_view text) override;
    void on_log(std::string_view text) override;
    void on_error(std::string_view text) override;
    void on_warn(std::string_view text) override;
    void on_verbose(std::string_view text) override;
    void on_debug(std::string_view text) override;
    void set_color(unsigned foreground, unsigned background) override;
    using tvr_log_default::set_color;

    // False when nobody takes the output any more, which has been told then, unless it is a pipe
    // whose reader has gone.
    bool flush() TVR_EXCLUDES(mutex);

    // Called once, when nobody takes the output any more; on whatever thread printed. Set before
    // anything is printed.
    std::function<void()> on_output_lost;

    // Before anything is written, for who edits a line on the same terminal; must not log. On
    // whatever thread speaks. Set before anything is printed.
    std::function<void()> before_writing;

private:
    void add(std::string_view text, std::string_view end) TVR_EXCLUDES(mutex);
    void make_way() TVR_EXCLUDES(mutex);  // for a line on standard error
    int write_all() TVR_REQUIRES(mutex);  // 0 or what went wrong

    const bool shows_warnings;
    const bool at_once;  // standard output is a terminal
    tvr_mutex mutex;     // innermost, but for what on_output_lost does
    std::string waiting TVR_GUARDED_BY(mutex);
    bool lost TVR_GUARDED_BY(mutex) = false;
};

}  // namespace host
