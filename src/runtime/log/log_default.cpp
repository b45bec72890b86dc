#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <optional>

#include "runtime/local/thread_local.h"
#include "runtime/log/log.h"

namespace {

// ANSI numbers of colours: foreground, background, and what makes either of them bright.
constexpr unsigned red = 31, green = 32, yellow = 33, blue = 34, white = 37;
constexpr unsigned black_ground = 40;
constexpr unsigned foreground_base = 30, background_base = 40, bright_step = 60;

constexpr std::array<std::string_view, 8> color_names{"black", "red",     "green", "yellow",
                                                      "blue",  "magenta", "cyan",  "white"};

bool environment_wants_color() {
    const char* term = std::getenv("TERM");
    return std::getenv("NO_COLOR") == nullptr && term != nullptr &&
           term != std::string_view("dumb");
}

// The ANSI number of a colour's name, or the number that the text itself begins with.
std::optional<unsigned> color_number(std::string_view name, unsigned base) {
    unsigned number = 0;
    if (std::from_chars(name.data(), name.data() + name.size(), number).ec == std::errc()) {
        return number;
    }
    constexpr std::string_view bright = "bright";
    if (name.starts_with(bright)) {
        name.remove_prefix(bright.size());
        if (name.starts_with('_')) name.remove_prefix(1);
        base += bright_step;
    }
    for (size_t i = 0; i < color_names.size(); ++i) {
        if (name == color_names[i]) return base + unsigned(i);
    }
    return {};
}

// The whole text, in one write where the other side takes it. Gives up on a broken descriptor.
void write_all(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(size_t(written));
        } else if (errno == EAGAIN) {  // somebody made our terminal non-blocking
            pollfd ready{descriptor, POLLOUT, 0};
            ::poll(&ready, 1, -1);
        } else if (errno != EINTR) {
            return;
        }
    }
}

std::string color_escape(unsigned foreground, unsigned background) {
    return tvr_join("\033[", foreground, ';', background, 'm');
}

}  // namespace

tvr_log_default::tvr_log_default() : colored(environment_wants_color()) {}

void tvr_log_default::write_line(int descriptor, std::string_view marker, unsigned color,
                                 std::string_view text) {
    tvr_thread_local& local = tvr_local();
    std::string line;
    line.reserve(text.size() + marker.size() + tvr_thread_local::name_bytes + 64);
    const auto in_color = [&](unsigned foreground, std::string_view part) {
        if (colored) line += color_escape(foreground, black_ground);
        line += part;
    };
    in_color(color, "[");
    if (local.thread_name().empty()) {
        in_color(blue, tvr_join('_', local.thread_id()));
    } else {
        in_color(blue, local.thread_name());
    }
    in_color(color, marker);
    in_color(white, text);
    line += colored ? "\033[0m\n" : "\n";
    write_all(descriptor, line);
}

void tvr_log_default::on_log(std::string_view text) {
    write_line(STDERR_FILENO, "] * ", green, text);
}

void tvr_log_default::on_output(std::string_view text) {
    write_line(STDOUT_FILENO, "] > ", green, text);
}

void tvr_log_default::on_cout(std::string_view text) {
    write_all(STDOUT_FILENO, text);
}

void tvr_log_default::on_error(std::string_view text) {
    write_line(STDERR_FILENO, "] ! ", red, text);
}

void tvr_log_default::on_warn(std::string_view text) {
    write_line(STDERR_FILENO, "] ! ", yellow, text);
}

void tvr_log_default::on_verbose(std::string_view text) {
    write_line(STDERR_FILENO, "] # ", green, text);
}

void tvr_log_default::on_debug(std::string_view text) {
    write_line(STDERR_FILENO, "] # ", green, text);
}

void tvr_log_default::set_color(unsigned foreground, unsigned background) {
    if (colored) write_all(STDOUT_FILENO, color_escape(foreground, background));
}

void tvr_log_default::set_color(std::string_view foreground, std::string_view background) {
    const auto front = color_number(foreground, foreground_base);
    const auto back = color_number(background, background_base);
    if (front && back) set_color(*front, *back);
}
