#include "host/monitor/picture.h"

#include <cmath>

namespace monitor {

bool stands_left_of(int deck, int other) {
    auto place = [](int n) { return n % 2 == 1 ? -n : n; };
    return place(deck) < place(other);
}

phrase_place find_phrase(const deck_picture& deck) {
    if (!deck.track || deck.beat < 1) return {};
    const auto& all = deck.track->phrases;
    for (size_t i = 0; i < all.size(); ++i) {
        if (all[i].beat > deck.beat || all[i].end_beat <= deck.beat) continue;
        return {&all[i], i + 1 < all.size() ? &all[i + 1] : nullptr, all[i].end_beat - deck.beat};
    }
    return {};
}

bool phase_against_master(const deck_picture& deck, const set_picture& set, double& ahead) {
    ahead = 0;
    if (set.master == 0 || set.master_bpm <= 0 || !deck.playing || deck.effective_bpm <= 0) {
        return false;
    }
    if (deck.number == set.master) return true;
    const double difference = deck.beat_phase - set.master_phase;
    ahead = difference - std::round(difference);
    return true;
}

}  // namespace monitor
