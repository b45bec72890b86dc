#include "fickle_source.h"

namespace soak {

namespace {

// A connection is noticed as dead after 3 s and sought again once a second; all else is a machine
// that is busy, or slowed down by a sanitizer.
constexpr double patience_s = 240;

// What the script tells may be as old as the time between two of its reports.
constexpr int64_t reports_until_true = 2;

// The longest mishap, with the silence after which it is noticed.
constexpr double mishap_s = 8;

}  // namespace

double draw(random_source& random, double from, double to) {
    constexpr double steps = 1 << 20;
    return from + (to - from) * double(random() % (1 << 20)) / steps;
}

fickle_source::fickle_source(std::string named, std::vector<std::string> arguments,
                             mishap_maker mishaps, const pace& how_long, random_source& chance)
    : name(std::move(named)),
      words(std::move(arguments)),
      make_mishaps(std::move(mishaps)),
      lasts(how_long),
      random(chance) {}

void fickle_source::hear(double now, int64_t beats, int64_t told) {
    heard = beats;
    times_told = told;
    if (where == place::starting) wait_for_beat(now, place::starting, place::alive);
    if (where == place::recovering) wait_for_beat(now, place::recovering, place::down);
}

void fickle_source::wait_for_beat(double now, place in, place then) {
    if (heard <= base) {
        if (now - since <= patience_s || !what_is_wrong.empty()) return;
        what_is_wrong = name + ": no beat within " + std::to_string(int(patience_s)) + " s " +
                        (in == place::starting ? "of start " : "of the last mishap of life ") +
                        std::to_string(lives);
        return;
    }
    if (then == place::down) return die(now);
    where = then;
    since = now;
}

void fickle_source::step(double now, bool steady) {
    const bool counted = times_told >= told_at_change + reports_until_true;
    if (where == place::down && now >= until && counted) return start(now, steady);
    if (where != place::alive) return;
    if (steady && !without_mishaps) until = now;  // whatever else it had in mind
    if (steady ? without_mishaps : now < until) return;
    where = place::recovering;
    since = now;
    base = heard;
}

void fickle_source::start(double now, bool steady) {
    const double life_s = draw(random, lasts.shortest_life, lasts.longest_life);
    std::vector<std::string> arguments = words;
    if (!steady) {
        for (std::string& word : make_mishaps(random, life_s)) arguments.push_back(word);
    }
    process = std::make_unique<bridge_sim::test::sim_process>(arguments);
    ++lives;
    without_mishaps = steady;
    where = place::starting;
    since = now;
    until = now + life_s + mishap_s;
    base = at_birth = heard;
}

// Pulled out or switched off, as chance will have it.
void fickle_source::die(double now) {
    const bool killed = random() % 2 == 0;
    if (!killed && process->stop() != 0 && what_is_wrong.empty()) {
        what_is_wrong = name + " did not end well: " + process->messages();
    }
    process.reset();
    const int64_t beats = heard - at_birth;
    if (least_beats < 0 || beats < least_beats) least_beats = beats;
    where = place::down;
    since = now;
    until = now + draw(random, 0, lasts.longest_pause);
    told_at_change = times_told;
}

}  // namespace soak
