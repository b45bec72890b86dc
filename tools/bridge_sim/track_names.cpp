#include "bridge_sim/track_names.h"

#include <iterator>

#include "bridge_sim/random_source.h"

namespace bridge_sim {

namespace {

constexpr const char* first_words[] = {"Paper",  "Velvet", "Quiet",  "Copper", "Seventh",
                                       "Hollow", "Amber",  "Static", "Salt",   "Ninth",
                                       "Folded", "Blue",   "Tilted", "Late",   "Borrowed"};
constexpr const char* second_words[] = {"Lanterns", "Orbit",   "Tramline",  "Garden", "Meridian",
                                        "Signals",  "Weather", "Staircase", "Comet",  "Arcade",
                                        "Tides",    "Marble",  "Kiosk"};
constexpr const char* endings[] = {"", "", "", " (Long Mix)", " (Dub)", " pt. 2"};
constexpr const char* openings[] = {"Vel", "Tam", "Oru", "Kes", "Lin", "Bra", "Yo", "Sed", "Mír"};
constexpr const char* middles[] = {"do", "ri", "na", "qua", "lo", "shi", "vö"};
constexpr const char* closings[] = {"x", "nt", "ra", "lis", "mo", "ck", "ta"};
constexpr const char* genres[] = {"House", "Techno", "Melodic House", "Electro", "Breaks"};
constexpr const char* albums[] = {"", "Northern Rooms", "Eight Hours", "Rooftop \"Tapes\""};
constexpr const char* keys[] = {"Am", "F#m", "C", "Gm", "Ebm", "D", "Bm", "Cm", "Abm"};

template <size_t COUNT>
const char* pick(random_source& random, const char* const (&words)[COUNT]) {
    return words[size_t(random.between(0, int(COUNT) - 1))];
}

std::string invent_title(random_source& random, int number) {
    // Walks through all pairs of words before one comes again.
    const size_t pair = size_t(number) * 37 + 8;
    const char* first = first_words[pair % std::size(first_words)];
    const char* second = second_words[pair % std::size(second_words)];
    return std::string(first) + " " + second + pick(random, endings);
}

std::string invent_artist(random_source& random) {
    std::string name = pick(random, openings);
    name += pick(random, middles);
    name += pick(random, closings);
    if (random.between(0, 3) == 0) name += std::string(" & ") + pick(random, openings) + "ana";
    return name;
}

}  // namespace

track_tags invent_tags(uint64_t seed, int number) {
    random_source random(hash_of(seed, 4));
    track_tags tags;
    tags.title = invent_title(random, number);
    tags.artist = invent_artist(random);
    tags.album = pick(random, albums);
    tags.genre = pick(random, genres);
    tags.key = pick(random, keys);
    tags.comment = random.between(0, 2) == 0 ? "peak time" : "";
    tags.year = random.between(1996, 2024);
    tags.rating = random.between(0, 5);
    return tags;
}

}  // namespace bridge_sim
