#pragma once

// A simulated board or relay that lives for a while, has its mishaps, dies and comes back; and
// whether the decks heard of it in every life.
//
//   down ----> starting ----> alive ----> recovering ----> down
//        pause        a beat       time up            a beat
//
// The two beats are waited for: one after the start, one after the last mishap is over.

#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "../support/sim_process.h"

namespace soak {

using random_source = std::mt19937_64;

// In [from, to).
double draw(random_source& random, double from, double to);

// How long things last, in s.
struct pace {
    double shortest_life, longest_life;
    double longest_pause;
};

class fickle_source {
public:
    // Options of the simulator for a life of so many s, which begins with the process: with
    // mishaps, none of which begins later than that.
    using mishap_maker = std::function<std::vector<std::string>(random_source&, double life_s)>;

    fickle_source(std::string named, std::vector<std::string> arguments, mishap_maker mishaps,
                  const pace& how_long, random_source& chance);

    // What the script has counted of this source, as often as it tells: `told` is how often it has.
    void hear(double now, int64_t beats, int64_t told);

    // Ends lives, begins others. While `steady`, the source comes up without mishaps and stays.
    void step(double now, bool steady);

    // Up without mishaps, and heard of.
    bool is_steady() const { return where == place::alive && without_mishaps; }

    // Empty while all is well.
    const std::string& fault() const { return what_is_wrong; }

    int64_t restarts() const { return lives - 1; }
    int64_t beats_in_least_life() const { return least_beats; }

    const std::string name;

private:
    enum class place { down, starting, alive, recovering };

    void start(double now, bool steady);
    void die(double now);
    void wait_for_beat(double now, place in, place then);

    std::vector<std::string> words;
    mishap_maker make_mishaps;
    const pace lasts;
    random_source& random;

    std::unique_ptr<bridge_sim::test::sim_process> process;
    place where = place::down;
    bool without_mishaps = false;
    double until = 0;      // s: the pause or the life is over
    double since = 0;      // s: of the present place
    int64_t heard = 0;     // beats so far
    int64_t base = 0;      // beats when the wait began
    int64_t at_birth = 0;  // beats before this life
    int64_t times_told = 0;
    int64_t told_at_change = 0;
    int64_t lives = 0;
    int64_t least_beats = -1;  // of the lives that are over, -1 for none
    std::string what_is_wrong;
};

}  // namespace soak
