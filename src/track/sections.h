#pragma once

// Sections and buildups, worked out from beat grid and detail waveform without any audio.
//
// detect_sections() divides a track into intro, drops, breaks and outro where no stored analysis
// exists. find_buildups() finds the rising stretch at the end of a break that leads into a drop.
// Both count bars of exactly 4 beats from a fixed first beat, make one pass over the columns with
// fixed thresholds, and give the same result for the same input on every machine.
// Pure functions, any thread; they run in the feeding thread under the session's lock.

#include <vector>

#include "track/beat_grid.h"
#include "track/phrase.h"
#include "track/waveform.h"

namespace deckbus {

// Empty when the track gives no ground: a blue or missing waveform, fewer than 32 beats from the
// first downbeat on, a bar without columns, no usable low band, or one level throughout.
// Otherwise the phrases cover the track without a gap and all are `detected`.
std::vector<phrase> detect_sections(const beat_grid& grid, const waveform& detail);

// The same list with each break before a drop split where its rise begins. Works on stored and
// on detected phrases; only the buildups it adds are marked `detected`.
std::vector<phrase> find_buildups(const std::vector<phrase>& phrases, const beat_grid& grid,
                                  const waveform& detail);

}  // namespace deckbus
