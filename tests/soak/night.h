#pragma once

// The night: a show (`tavro run` with scripts/night.tvio) and a program that loads scripts over and
// over (soak_reloads), both watched; a board and a relay that fail at random times.
//
// It has four quarters. Each ends in a moment of calm: both sources are up, guests have gone, no
// interpreter is half loaded. There two moments of the night hold the same things.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fickle_source.h"
#include "judgement.h"
#include "watched_process.h"

namespace soak {

struct night_wish {
    double minutes = 2;
    uint64_t seed = 1;
    bool quick = false;  // shorter lives, so that a short night has enough of them
};

// A watched process, what it told last and what it held.
struct watched {
    std::unique_ptr<watched_process> process;
    std::map<std::string, int64_t> counts, counts_of_last_calm;
    int64_t told = 0;    // how often
    double told_at = 0;  // s
    int64_t calms_in_row = 0;
    int64_t log_lines = 0;
    record seen;
};

// A show that is begun and soon ended, again and again, at whatever it is doing.
struct brief_show {
    std::unique_ptr<watched_process> process;  // null between two
    bool speaks = false;                       // signals are in good hands from its first word on
    double ends_at = 0;                        // s, then it is interrupted
    double asked_at = -1;                      // s, when it was; -1 before
    int64_t ended = 0;                         // so many, well
};

class night {
public:
    static constexpr int quarters = 4;

    explicit night(const night_wish& wish);

    // The whole night; false if something is wrong.
    bool run();

private:
    void start_show();
    void start_reloads();
    void hear_show(std::string_view line, bool is_error);
    void hear_reloads(std::string_view line, bool is_error);
    void hear_log(const std::string& name, std::string_view line);
    void take_counts(watched& of, std::string_view line);
    void turn(bool steady);
    void turn_brief_show(bool steady);
    void begin_brief_show();
    std::vector<std::string> show_words(const std::string& port) const;
    void watch(watched& of);
    void play_until(double end);
    void rest();
    bool is_calm() const;
    void check_counts();
    void end(watched& of);
    void judge();
    void tell() const;  // night_table.cpp
    void tell_counts() const;
    void fail(const std::string& why);
    bool goes_on() const;
    double now() const;

    const night_wish wish;
    random_source random;
    bridge_sim::test::scratch scratch;
    const double begun;
    double next_sample = 0;
    fickle_source board, relay;
    watched show, reloads;
    brief_show brief;
    int made_beats = 0;          // in the recording that is made
    int64_t raised_reports = 0;  // errors of the show that were meant
    std::vector<std::string> faults;
};

// Asks the night to end early, which leaves its judgement out; from a signal handler.
void end_early();
bool was_ended_early();

}  // namespace soak
