#include "host/line_recorder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

namespace host {

namespace {

constexpr double flush_interval_s = 1.0;

std::string failure(const std::string& name, const char* what) {
    return what + name + ": " + std::strerror(errno);
}

// When the recording was made. It has no kind, so whoever plays it skips it.
std::string head_line() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[64];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &local);
    return std::string("{\"rx\":0,\"recorded\":\"") + text + "\"}\n";
}

}  // namespace

std::string recorded_line(std::string_view line, double rx) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
    if (line.empty() || line.front() != '{') return std::string(line);
    line.remove_prefix(1);
    char stamp[48];
    std::snprintf(stamp, sizeof stamp, "{\"rx\":%.6f", rx);
    const bool more = line.find_first_not_of(" \t}") != line.npos;
    return std::string(stamp) + (more ? "," : "") + std::string(line);
}

line_recorder::line_recorder(std::shared_ptr<deckbus::session> from)
    : session(std::move(from)), started(deckbus::now_s()) {
    tvr_lock hold(session->mutex);
    session->line_tap = [this](std::string_view line, double t) { take(line, t); };
}

line_recorder::~line_recorder() {
    tvr_lock hold(session->mutex);
    session->line_tap = nullptr;
}

void line_recorder::take(std::string_view line, double t) {
    waiting.push_back({std::string(line), t});
    waiting_bytes += line.size();
    if (waiting_bytes <= most_waiting) return;
    lost_lines += waiting.size();
    waiting.clear();
    waiting_bytes = 0;
}

uint64_t line_recorder::lost() const {
    tvr_lock hold(session->mutex);
    return lost_lines;
}

bool line_recorder::create(const std::string& path, std::string& error) {
    const bool to_output = path == "-";
    name = to_output ? "to standard output" : path;
    const int fd = to_output ? dup(STDOUT_FILENO)
                             : open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd >= 0) file.reset(fdopen(fd, "w"));
    if (fd >= 0 && file == nullptr) ::close(fd);
    if (file == nullptr) {
        error = errno == EEXIST ? path + " exists already" : failure(path, "Cannot write ");
        return false;
    }
    return put(head_line(), error) && flush(error);
}

bool line_recorder::put(std::string_view text, std::string& error) {
    if (std::fwrite(text.data(), 1, text.size(), file.get()) == text.size()) {
        written_bytes += text.size();
        return true;
    }
    error = failure(name, "Cannot write ");
    return false;
}

bool line_recorder::write(std::string& error) {
    std::vector<arrived> batch;
    {
        tvr_lock hold(session->mutex);
        batch.swap(waiting);
        waiting_bytes = 0;
    }
    for (const arrived& each : batch) {
        if (!put(recorded_line(each.line, each.t - started) + "\n", error)) return false;
        ++written_lines;
    }
    return deckbus::now_s() - last_flush < flush_interval_s || flush(error);
}

// Pipes and terminals have nothing to bring to a disk.
bool line_recorder::flush(std::string& error) {
    last_flush = deckbus::now_s();
    if (std::fflush(file.get()) == 0 &&
        (fdatasync(fileno(file.get())) == 0 || errno == EINVAL || errno == EROFS)) {
        return true;
    }
    error = failure(name, "Cannot write ");
    return false;
}

bool line_recorder::finish(std::string& error) {
    const bool written = write(error) && flush(error);
    const bool closed = std::fclose(file.release()) == 0;
    if (written && !closed) error = failure(name, "Cannot write ");
    return written && closed;
}

}  // namespace host
