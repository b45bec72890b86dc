#pragma once

// The board itself: it plays its script in time and answers commands, as the firmware would.
//
// It knows nothing of ports. Whoever owns it collects the lines that are due and hands in the
// commands that came; what becomes of the lines is not its business. Time is an argument, s on
// any steady clock. Not thread-safe: one thread owns it.

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "bridge_sim/board_script.h"

namespace bridge_sim {

struct board_wish {
    double speed = 1.0;
    bool loop = false;
};

// A line without its newline.
struct sent_line {
    enum source_kind : uint8_t { from_script, from_answer };

    source_kind source;
    uint64_t ordinal;  // its place in its source, from 0, whatever was sent before
    std::string text;
};

struct command_counts {
    int64_t pings = 0, infos = 0, fetches = 0, unknown = 0;
};

class board {
public:
    // The script must outlive the board and hold a line.
    board(const board_script& script, const board_wish& wish, double now);

    // Everything due by now, in order.
    void collect(double now, std::vector<sent_line>& out);

    // When collect() will next have something; infinity when it never will.
    double next_due() const;

    // The script is over and all questions are answered.
    bool finished() const;

    // One command without its newline. False if the board does not know it.
    bool command(std::string_view text, double now);

    // Power fails and comes back: clocks and all that it knew begin anew, after a short silence.
    void restart(double now);

    const command_counts& counts() const { return counted; }

private:
    struct answer_line {
        double due;
        size_t index;  // into the script
    };

    double due_of(const script_line& line) const;
    int64_t clock_us(double t) const;
    void pass_script(double now, std::vector<sent_line>& out);
    void pass_answers(double now, std::vector<sent_line>& out);
    void next_pass();
    void remember(const script_line& line);
    std::string at_time(ordered_json line, double t) const;
    void add_answer(ordered_json line, double t, std::vector<sent_line>& out);
    void add_overview(double now, std::vector<sent_line>& out);
    void begin_fetch(int64_t deck, double now);

    const board_script& script;
    board_wish wish;
    double pass_start;        // s, when the script's current pass began
    size_t next = 0;          // index of the next line of the script
    double boot_time;         // s, a moment and
    int64_t boot_us;          // what the clock showed then
    double silent_until = 0;  // s, booting until then
    bool overview_due = false;
    std::string reset_cause;  // for the hello after a restart, else empty
    std::deque<answer_line> answers;
    std::map<std::string, double> fetching;  // ids under way, until when (s)
    uint64_t passes = 0, answered = 0;
    command_counts counted;

    // What is on now: hello, net and vcdj by their kind; devices and tracks by number.
    std::map<std::string, ordered_json> bridge;
    std::map<int64_t, ordered_json> devices, loaded;
};

}  // namespace bridge_sim
