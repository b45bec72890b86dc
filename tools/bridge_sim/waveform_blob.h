#pragma once

// A track's waveforms as the players deliver them: three styles, each as preview and detail.
// Pure, any thread.

#include <span>
#include <string_view>
#include <vector>

#include "bridge_sim/byte_writer.h"
#include "bridge_sim/track_model.h"

namespace bridge_sim {

// The format word of a style: "blue", "rgb" or "3band".
std::string_view wave_word(wave_style style);

// The whole track at 150 columns a second.
std::vector<band_levels> detail_columns(const track_model& track);

bytes encode_detail(std::span<const band_levels> columns, wave_style style);

// The same columns gathered into 400 (blue) or 1200.
bytes encode_preview(std::span<const band_levels> columns, wave_style style);

}  // namespace bridge_sim
