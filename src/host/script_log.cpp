#include "host/script_log.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/join.h"

namespace host {

namespace {

constexpr size_t most_waiting = 64 * 1024;  // bytes, then they are written

}  // namespace

script_log::script_log(const script_options& asked)
    : shows_warnings(!asked.quiet), at_once(::isatty(STDOUT_FILENO) == 1) {
    mask = asked.verbose ? uint32_t(level_log | level_verbose) : 0;
}

void script_log::on_output(std::string_view text) {
    add(text, "\n");
}

void script_log::on_cout(std::string_view text) {
    add(text, "");
}

void script_log::on_log(std::string_view text) {
    make_way();
    tvr_log_default::on_log(text);
}

void script_log::on_error(std::string_view text) {
    make_way();
    tvr_log_default::on_error(text);
}

void script_log::on_warn(std::string_view text) {
    if (!shows_warnings) return;
    make_way();
    tvr_log_default::on_warn(text);
}

void script_log::on_verbose(std::string_view text) {
    make_way();
    tvr_log_default::on_verbose(text);
}

void script_log::on_debug(std::string_view text) {
    make_way();
    tvr_log_default::on_debug(text);
}

// The default log writes its escapes past what waits here; a file wants none.
void script_log::set_color(unsigned foreground, unsigned background) {
    flush();
    if (at_once) tvr_log_default::set_color(foreground, background);
}

void script_log::add(std::string_view text, std::string_view end) {
    {
        const tvr_lock hold(mutex);
        if (lost) return;
        waiting += text;
        waiting += end;
        if (!at_once && waiting.size() < most_waiting) return;
    }
    flush();
}

void script_log::make_way() {
    flush();
    if (before_writing) before_writing();
}

bool script_log::flush() {
    int failure = 0;
    {
        const tvr_lock hold(mutex);
        if (waiting.empty() || lost) return !lost;
        if (before_writing) before_writing();
        failure = write_all();
        waiting.clear();
        lost = failure != 0;
    }
    if (failure == 0) return true;
    if (failure != EPIPE)
        on_error(tvr_join("Cannot write to standard output: ", std::strerror(failure)));
    if (on_output_lost) on_output_lost();
    return false;
}

int script_log::write_all() {
    std::string_view rest = waiting;
    while (!rest.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(size_t(written));
        } else if (errno == EAGAIN) {  // somebody made our terminal non-blocking
            pollfd ready{STDOUT_FILENO, POLLOUT, 0};
            ::poll(&ready, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

}  // namespace host
