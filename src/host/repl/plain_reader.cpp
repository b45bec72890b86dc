#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "host/repl/line_reader.h"

namespace repl {

namespace {

class plain_reader : public line_reader {
public:
    explicit plain_reader(reader_needs wanted) : needs(std::move(wanted)) {}

    line read(std::string_view) override {
        size_t end = 0;
        while ((end = buffer.find('\n')) == std::string::npos) {
            if (over) break;
            if (!wait()) return {{}, line::end::interrupted};
            fill();
        }
        if (end == std::string::npos && buffer.empty()) return {{}, line::end::over};
        line taken{buffer.substr(0, end), line::end::line};
        buffer.erase(0, end == std::string::npos ? end : end + 1);
        return taken;
    }

private:
    // Until there is something to read. False when the line is to be given up.
    bool wait() const {
        for (;;) {
            pollfd ready[] = {{STDIN_FILENO, POLLIN, 0}, {needs.interrupted, POLLIN, 0}};
            ::poll(ready, 2, needs.go_on());
            if (ready[1].revents != 0) return false;
            if (ready[0].revents != 0) return true;
        }
    }

    void fill() {
        char bytes[4096];
        const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
        if (count > 0) {
            buffer.append(bytes, size_t(count));
        } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
            over = true;
        }
    }

    const reader_needs needs;
    std::string buffer;
    bool over = false;
};

}  // namespace

std::unique_ptr<line_reader> make_plain_reader(reader_needs needs) {
    return std::make_unique<plain_reader>(std::move(needs));
}

}  // namespace repl
