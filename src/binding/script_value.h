#pragma once

// What the decks tell, as values of scripts. Thread: one that runs scripts, no deck lock needed.

#include <vector>

#include "deck/state.h"
#include "runtime/value/value.h"

namespace deckbus {

// A JSON value as the script gets it: the same as by parsing the value's text, only faster. So
// keys are sorted, booleans inside of lists and objects are "json.bool", unsigned numbers keep
// their bits, and text that is no UTF-8 has U+FFFD in its place. A boolean that stands alone is an
// int, and a text that stands alone keeps its bytes.
tvrvar_shared to_var(const json& value);

// Sound: "rate", "seq", "source", "us", "ageMs" at `now` (s, steady clock), "samples", "data" (the
// bytes: int16, little-endian, mono) and, if asked for, "values" (floats of -1 to below 1). The
// chunk's bytes move into the value.
tvrvar_shared audio_value(audio_chunk chunk, double now, bool with_values);

// Chunks in order as a list.
tvrvar_shared audio_list(std::vector<audio_chunk> chunks, double now, bool with_values);

// Bytes as a buffer, which takes them over.
tvrvar_shared binary_value(bytes data);

}  // namespace deckbus
