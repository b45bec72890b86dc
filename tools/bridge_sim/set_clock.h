#pragma once

// The beats of the whole set, counted from 0 when the first track starts.
//
// All decks in a mix follow one tempo, so every deck's beats fall on the set's. Tempo changes
// happen on set beats only; between two of them time is linear. Pure, any thread.

#include <cstdint>
#include <vector>

namespace bridge_sim {

// A place in the set, between two beats.
struct set_place {
    int64_t beat = 0;
    double fraction = 0;  // 0 up to but not including 1
    int bpm_x100 = 0;
};

class set_clock {
public:
    // Begins with beat 0 at a time of the bridge's clock.
    set_clock(int64_t start_us, int bpm_x100) : steps{{0, start_us, bpm_x100}} {}

    // From this beat on the set has this tempo. Beats must rise from call to call.
    void set_tempo(int64_t beat, int bpm_x100);

    int64_t us_of(int64_t beat) const;     // beats below 0 continue the first tempo backwards
    set_place place_at(int64_t us) const;  // before the start: beat below 0
    int tempo() const { return steps.back().bpm_x100; }

private:
    struct step {
        int64_t beat;
        int64_t us;
        int bpm_x100;
    };

    std::vector<step> steps;
};

}  // namespace bridge_sim
