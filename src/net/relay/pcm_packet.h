#pragma once

// Sound from the relay: one packet of samples. Pure, any thread.
//
// Little-endian: "PCM1", sample rate in Hz (u32), sequence (u32), number of 16-bit samples (u16),
// format 1 (u8), source (u8), the bridge's clock in microseconds (i64), the samples.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "deck/state.h"

namespace deckbus::net {

// False for anything that is no whole packet. `out` is filled as far as it was understood by then;
// bytes behind the samples are ignored. t becomes the chunk's time.
bool parse_pcm_packet(const uint8_t* data, size_t size, double t, deckbus::audio_chunk& out);

// The packet of a chunk.
std::vector<uint8_t> make_pcm_packet(const deckbus::audio_chunk& chunk);

}  // namespace deckbus::net
