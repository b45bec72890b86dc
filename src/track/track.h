#pragma once

// What is known of one track: metadata as the bridge gave it, and every blob decoded for it.
//
// This folder, from the outside in:
//
//   track_store     the 64 tracks that a connection remembers
//   blob_transfers  blobs on their way in, part by part
//   track           one track; takes finished blobs, shows itself as JSON and as a texture
//   waveform, beat_grid, cue, phrase    the decoders: bytes in, records out
//   sections        phrases worked out from grid and waveform
//   json, bytes     lenient line fields; base64 and CRC-32
//
// Nothing here knows of players or sessions, and nothing locks: all of it lives inside
// deckbus::state and runs under the session's mutex, on the thread that feeds it.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "track/beat_grid.h"
#include "track/bytes.h"
#include "track/cue.h"
#include "track/json.h"
#include "track/phrase.h"
#include "track/waveform.h"

namespace deckbus {

// How a track is laid out in its texture; see track::texture().
struct deck_layout {
    int32_t width = 0;          // always 4096
    int32_t height = 0;         // 2 * rows + 2
    int32_t rows = 0;           // rows of the detail waveform, at least 1
    int32_t detail_count = 0;   // columns of the detail
    int32_t preview_count = 0;  // pixels of the preview, at most 4096
};

// Bits in the alpha byte of a marker pixel.
enum deck_marker : uint8_t {
    marker_beat = 0x80,
    marker_downbeat = 0x40,  // together with marker_beat
    marker_point = 0x20,     // cue point or loop end; the pixel's RGB is the cue's colour
    marker_loop = 0x10,      // inside a loop
};

struct track {
    // Decodes a finished blob into the field that its kind names, and works the phrases out anew
    // where they depend on it. False for a kind that no field takes; then nothing changes.
    // Data that cannot be read replaces the field by an empty result and counts as stored.
    bool store_blob(std::string_view kind, bytes data, std::string_view fmt, int32_t count);

    // Brings `phrases` and `phrases_from` up to date: stored phrases win, refined by buildups
    // where a grid is known; detection runs only without them.
    void update_phrases();

    // Length in ms: of the detail waveform, else "dur" of the metadata, else 0.
    double duration_ms() const;

    // The track as scripts see it: the metadata, overlaid by what has been decoded. The cues
    // stand in the full form only, since the short one is built for every player of a snapshot.
    json info(bool full) const;

    // Whether there is a waveform to draw: a detail or a preview with at least one column.
    bool has_waveform() const { return detail.columns >= 1 || preview.columns >= 1; }

    deck_layout layout() const;

    // layout().width * height pixels of RGBA8, zero where nothing is drawn:
    //
    //   rows 0 .. rows-1         detail waveform, column i at row i / 4096, place i % 4096
    //   rows rows .. 2*rows-1    detail markers at the same places (see deck_marker)
    //   row 2*rows               preview waveform
    //   row 2*rows+1             preview markers
    bytes texture() const;

    json meta;              // the meta line without "t", or only "id" if a blob came first
    bool complete = false;  // the metaok line came
    std::string error;      // text of metaerr or of the last failed transfer
    waveform preview;       // from a "wfp" blob
    waveform detail;        // from a "wfd" blob
    beat_grid grid;
    bool has_grid = false;  // a grid blob was stored, even an empty one
    std::vector<cue> cues;
    bool has_cues = false;           // a cue blob was stored, even an empty one
    std::vector<phrase> phrases;     // in force
    std::vector<phrase> rb_phrases;  // as stored with the track
    std::string phrases_from;        // "rekordbox", "waveform" or empty
    int32_t mood = 0;                // 1 high, 2 mid, 3 low, 0 unknown
    bytes art;                       // the artwork file as it came
    int32_t rev = 0;                 // set anew whenever anything here changes
};

}  // namespace deckbus
