#include "bridge_sim/board_script.h"

#include "deck/nesting_guard.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>

namespace bridge_sim {

namespace {

constexpr double us_per_second = 1'000'000.0;

// Times beyond these are cut: about thirty years, with room to add and to scale.
constexpr double latest_s = 1e9;
constexpr int64_t latest_us = 1'000'000'000'000'000;

// Puts lines into time, one after the other.
class script_reader {
public:
    void take(const std::string& text) {
        if (deckbus::nests_too_deeply(text)) return;
        ordered_json line = ordered_json::parse(text, nullptr, false);
        if (!line.is_object() || text_of(line, "t").empty()) return;
        script_line out;
        out.kind = text_of(line, "t");
        place(line, out);
        line.erase("rx");
        out.line = std::move(line);
        note_answer(out);
        script.lines.push_back(std::move(out));
    }

    board_script script;

private:
    void place(const ordered_json& line, script_line& out);
    void place_clock(int64_t us, script_line& out);
    void note_answer(const script_line& line);

    bool begun = false;
    double first = 0, latest = 0;  // s, of the recording's own times
    bool clock_begun = false;
    int64_t highest_us = 0;
    double clock_shift = 0;                // s to add to "us" for the place in the script
    std::set<std::string> open, answered;  // track ids whose metadata is coming, or has come
};

void script_reader::place(const ordered_json& line, script_line& out) {
    const auto rx = line.find("rx"), us = line.find("us");
    out.stamped = us != line.end() && us->is_number_integer();
    double t = latest;
    if (rx != line.end() && rx->is_number()) {
        t = rx->get<double>();
    } else if (out.stamped) {
        t = us->get<double>() / us_per_second;
    }
    t = std::clamp(t, -latest_s, latest_s);
    if (!begun) first = latest = t;
    begun = true;
    latest = std::max(latest, t);
    out.at = out.clock_at = latest - first;
    script.length_s = out.at;
    if (out.stamped) place_clock(clock_of(line), out);
}

// A clock that falls by more than a second is a board that began anew.
void script_reader::place_clock(int64_t us, script_line& out) {
    constexpr int64_t restart_us = 1'000'000;
    out.restarts = clock_begun && us < highest_us - restart_us;
    if (!clock_begun || out.restarts) {
        if (!clock_begun) script.first_us = us;
        clock_shift = out.at - double(us) / us_per_second;
        highest_us = us;
        clock_begun = true;
    }
    highest_us = std::max(highest_us, us);
    out.clock_at = double(us) / us_per_second + clock_shift;
}

void script_reader::note_answer(const script_line& line) {
    const std::string id = text_of(line.line, "id");
    if (id.empty() || answered.count(id)) return;
    if (line.kind == "meta") open.insert(id);
    const bool part_of_it =
        line.kind == "meta" || line.kind == "blob" || line.kind == "part" || line.kind == "metaok";
    if (!part_of_it || !open.count(id)) return;
    script.answers[id].push_back(script.lines.size());
    if (line.kind == "metaok") answered.insert(id);
}

}  // namespace

std::string text_of(const ordered_json& line, const char* key) {
    const auto it = line.find(key);
    return it != line.end() && it->is_string() ? it->get<std::string>() : std::string();
}

int64_t integer_of(const ordered_json& line, const char* key, int64_t otherwise) {
    const auto it = line.find(key);
    return it != line.end() && it->is_number_integer() ? it->get<int64_t>() : otherwise;
}

int64_t clock_of(const ordered_json& line) {
    const auto it = line.find("us");
    if (it == line.end() || !it->is_number_integer()) return 0;
    if (it->is_number_unsigned() && it->get<uint64_t>() > uint64_t(latest_us)) return latest_us;
    return std::clamp<int64_t>(it->get<int64_t>(), 0, latest_us);
}

board_script read_script(std::istream& in) {
    script_reader reader;
    for (std::string text; std::getline(in, text);) reader.take(text);
    return std::move(reader.script);
}

board_script load_script(const std::string& path, std::string& error) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = "Cannot open file: " + path + ": " + std::strerror(errno);
        return {};
    }
    board_script script = read_script(file);
    if (script.lines.empty()) error = "No bridge lines in " + path;
    return script;
}

}  // namespace bridge_sim
