#include "bridge_sim/board.h"

#include <algorithm>
#include <cassert>
#include <charconv>
#include <limits>

namespace bridge_sim {

namespace {

constexpr double boot_s = 0.8;

// Between two passes the script rests for a moment, so that even a script of one line loops at
// a bounded pace.
constexpr double pass_pause_s = 0.5;

}  // namespace

board::board(const board_script& part, const board_wish& wanted, double now)
    : script(part), wish(wanted), pass_start(now), boot_time(now), boot_us(part.first_us) {
    assert(!script.lines.empty() && wish.speed > 0);
}

double board::due_of(const script_line& line) const {
    return pass_start + line.at / wish.speed;
}

int64_t board::clock_us(double t) const {
    constexpr double us_per_second = 1'000'000.0;
    return std::max<int64_t>(boot_us + int64_t((t - boot_time) * us_per_second), 0);
}

double board::next_due() const {
    double due = std::numeric_limits<double>::infinity();
    if (next < script.lines.size()) due = due_of(script.lines[next]);
    if (!answers.empty()) due = std::min(due, answers.front().due);
    if (overview_due) due = std::min(due, silent_until);
    return due;
}

bool board::finished() const {
    return next >= script.lines.size() && answers.empty() && !overview_due;
}

void board::collect(double now, std::vector<sent_line>& out) {
    if (overview_due && now >= silent_until) {
        overview_due = false;
        add_overview(now, out);
        reset_cause.clear();
    }
    pass_script(now, out);
    pass_answers(now, out);
}

void board::pass_script(double now, std::vector<sent_line>& out) {
    while (next < script.lines.size() && due_of(script.lines[next]) <= now) {
        const script_line& line = script.lines[next];
        const double t = pass_start + line.clock_at / wish.speed;
        remember(line);
        if (line.restarts) {
            boot_time = t;
            boot_us = clock_of(line.line);
        }
        if (due_of(line) >= silent_until) {
            out.push_back({sent_line::from_script, passes * script.lines.size() + next,
                           at_time(line.line, t)});
        }
        if (++next == script.lines.size() && wish.loop) next_pass();
    }
}

void board::pass_answers(double now, std::vector<sent_line>& out) {
    while (!answers.empty() && answers.front().due <= now) {
        const answer_line answer = answers.front();
        answers.pop_front();
        add_answer(script.lines[answer.index].line, answer.due, out);
    }
}

void board::next_pass() {
    pass_start += script.length_s / wish.speed + pass_pause_s;
    next = 0;
    passes++;
}

// Keeps what an "info" must tell later.
void board::remember(const script_line& line) {
    const int64_t n = integer_of(line.line, "n", 0);
    if (line.kind == "hello" || line.kind == "net" || line.kind == "vcdj") {
        bridge[line.kind] = line.line;
    } else if (line.kind == "dev") {
        devices[n] = line.line;
    } else if (line.kind == "trk") {
        loaded[n] = line.line;
    }
}

// The board's own clock goes on, whatever the recording's showed.
std::string board::at_time(ordered_json line, double t) const {
    const auto us = line.find("us");
    if (us != line.end() && us->is_number_integer()) {
        *us = clock_us(t);
        if (text_of(line, "t") == "hb") line["ms"] = clock_us(t) / 1000;
    }
    constexpr int compact = -1;
    return line.dump(compact, ' ', false, ordered_json::error_handler_t::replace);
}

void board::add_answer(ordered_json line, double t, std::vector<sent_line>& out) {
    out.push_back({sent_line::from_answer, answered++, at_time(std::move(line), t)});
}

// hello, devices and tracks as they are now. No media: such a line says that a stick was moved.
void board::add_overview(double now, std::vector<sent_line>& out) {
    for (const char* kind : {"hello", "net", "vcdj"}) {
        const auto it = bridge.find(kind);
        if (it == bridge.end()) continue;
        ordered_json line = it->second;
        if (!reset_cause.empty() && line.contains("reset")) line["reset"] = reset_cause;
        add_answer(std::move(line), now, out);
    }
    for (const auto& [n, line] : devices) add_answer(line, now, out);
    for (const auto& [n, known] : loaded) {
        ordered_json line = known;
        line["meta"] = script.knows(text_of(line, "id"));
        add_answer(std::move(line), now, out);
    }
}

bool board::command(std::string_view text, double now) {
    constexpr std::string_view fetch = "fetch ";
    if (now < silent_until) return true;  // booting, nobody listens
    if (text == "ping") {
        counted.pings++;
    } else if (text == "info") {
        counted.infos++;
        overview_due = true;
    } else if (text.substr(0, fetch.size()) == fetch) {
        const std::string_view number = text.substr(fetch.size());
        int64_t deck = 0;
        const auto [end, failed] = std::from_chars(number.begin(), number.end(), deck);
        if (failed != std::errc() || end != number.end()) {
            counted.unknown++;
            return false;
        }
        counted.fetches++;
        begin_fetch(deck, now);
    } else {
        counted.unknown++;
        return false;
    }
    return true;
}

// One question at a time goes out to the players, so answers queue up behind each other. A track
// that is being answered for is not asked for again.
void board::begin_fetch(int64_t deck, double now) {
    const auto track = loaded.find(deck);
    if (track == loaded.end()) return;
    const std::string id = text_of(track->second, "id");
    const auto answer = script.answers.find(id);
    if (answer == script.answers.end()) return;
    double& busy_until = fetching[id];
    if (now < busy_until) return;
    const double begin = answers.empty() ? now : std::max(now, answers.back().due);
    const double recorded = script.lines[answer->second.front()].at;
    for (size_t index : answer->second) {
        const double after = (script.lines[index].at - recorded) / wish.speed;
        answers.push_back({begin + after, index});
    }
    busy_until = answers.back().due;
}

void board::restart(double now) {
    answers.clear();
    fetching.clear();
    boot_time = now;
    boot_us = 0;
    silent_until = now + boot_s;
    overview_due = true;
    reset_cause = "watchdog";
}

}  // namespace bridge_sim
