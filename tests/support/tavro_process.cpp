#include "tavro_process.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <utmp.h>

#include <cstdlib>
#include <stdexcept>

#include "waiting.h"

namespace host::test {

namespace {

termios settings_of(int terminal) {
    termios settings{};
    tcgetattr(terminal, &settings);
    return settings;
}

}  // namespace

outcome run(const words& arguments, const std::string& input) {
    return test_support::run_program(TAVRO_PROGRAM, arguments, {}, input);
}

outcome run_redirected(const std::string& redirection, const words& arguments,
                       const std::string& input) {
    words all{"-c", "exec \"$0\" \"$@\" " + redirection, TAVRO_PROGRAM};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return test_support::run_program("/bin/sh", all, {}, input);
}

in_pipe::in_pipe(const words& arguments, const std::string& wanted)
    : piped_process(TAVRO_PROGRAM, arguments, STDOUT_FILENO) {
    output.reads(wanted);
}

on_terminal::on_terminal(const words& arguments, const char* no_color)
    : before(settings_of(terminal.slave)), child(TAVRO_PROGRAM, arguments, [&] {
          login_tty(terminal.slave);
          setenv("TERM", "xterm-256color", 1);
          if (no_color != nullptr) setenv("NO_COLOR", no_color, 1);
          // The line editing library keeps copies of lines that were given up.
          if (arguments.front() == "repl") setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
      }) {
    output.open(dup(terminal.master));
}

bool on_terminal::prompts() {
    return reads("> ") && test_support::eventually(
                              [&] { return (settings_of(terminal.slave).c_lflag & ICANON) == 0; });
}

void on_terminal::types(const std::string& keys) const {
    if (write(terminal.master, keys.data(), keys.size()) != ssize_t(keys.size()))
        throw std::runtime_error("the terminal takes no keys");
}

void on_terminal::resize(unsigned short width, unsigned short height) const {
    const winsize size{height, width, 0, 0};
    ioctl(terminal.master, TIOCSWINSZ, &size);
}

bool on_terminal::settings_restored() const {
    const termios now = settings_of(terminal.slave);
    return now.c_lflag == before.c_lflag && now.c_iflag == before.c_iflag;
}

}  // namespace host::test
