#include "bridge_sim/track_lines.h"

#include <algorithm>
#include <span>

#include "bridge_sim/analysis_blobs.h"
#include "bridge_sim/base64.h"
#include "bridge_sim/cover_art.h"
#include "bridge_sim/line_writer.h"
#include "bridge_sim/random_source.h"
#include "bridge_sim/waveform_blob.h"
#include "track/bytes.h"

namespace bridge_sim {

namespace {

constexpr size_t part_bytes = 768;

// A track coming onto a deck.
struct loading {
    int64_t us;
    int deck;
    const track_model* track;
};

struct blob {
    const char* kind;
    std::string_view fmt;
    bytes data;
    int count = 0;  // records of a cue list, 0 for other kinds
};

std::string crc_text(const bytes& data) {
    constexpr char digits[] = "0123456789abcdef";
    const uint32_t crc = deckbus::crc32(data.data(), data.size());
    std::string text;
    for (int shift = 28; shift >= 0; shift -= 4) text += digits[crc >> shift & 15];
    return text;
}

std::vector<blob> blobs_of(const track_model& track) {
    const std::vector<band_levels> columns = detail_columns(track);
    const std::vector<cue_mark> cues = cues_of(track);
    std::vector<blob> blobs;
    blobs.push_back({"art", "jpg", draw_cover(track.seed), 0});
    blobs.push_back({"grid", "nexus", encode_grid(track), 0});
    blobs.push_back({"wfp", wave_word(track.style), encode_preview(columns, track.style), 0});
    blobs.push_back({"wfd", wave_word(track.style), encode_detail(columns, track.style), 0});
    blobs.push_back({"cues", cue_word(track.cues), encode_cues(track, cues), cue_records(cues)});
    blobs.push_back({"phrase", "pssi", encode_phrases(track), 0});
    if (blobs.back().data.empty()) blobs.pop_back();
    // Older players answer in another order.
    if (track.style == wave_style::blue) std::reverse(blobs.begin() + 1, blobs.end());
    return blobs;
}

// Sends the blobs of loaded tracks one after the other, as the bridge has one link only.
class sender {
public:
    explicit sender(line_list& out) : lines(out) {}

    void send(const loading& load);

private:
    void send_meta(const track_model& track);
    void send_blob(const track_model& track, const blob& b);

    line_list& lines;
    int64_t now = 0;  // when the link is free
};

void sender::send(const loading& load) {
    constexpr int64_t question_us = 110'000;  // until the player has answered
    now = std::max(now, load.us + question_us);
    send_meta(*load.track);
    for (const blob& b : blobs_of(*load.track)) send_blob(*load.track, b);
    lines.push_back({now + 9'000, true, line_writer("metaok").text("id", load.track->id).open()});
    now += 20'000;
}

void sender::send_meta(const track_model& track) {
    line_writer line("meta");
    line.text("id", track.id)
        .text("title", track.tags.title)
        .text("artist", track.tags.artist)
        .text("album", track.tags.album)
        .text("genre", track.tags.genre)
        .text("key", track.tags.key);
    if (!track.tags.comment.empty()) line.text("comment", track.tags.comment);
    line.integer("year", track.tags.year)
        .integer("rating", track.tags.rating)
        .decimal("bpm", track.tempo_at(1), 2)
        .integer("dur", track.length_us / us_per_s);
    lines.push_back({now, true, line.open()});
    now += 30'000;
}

// Artwork takes a fixed time, whatever its size: libjpeg decides about that, and no other line
// of a recording shall depend on it.
void sender::send_blob(const track_model& track, const blob& b) {
    constexpr int64_t part_us = 7'300, art_us = 190'000, pause_us = 26'000;
    const std::string_view kind = b.kind;
    const size_t parts = (b.data.size() + part_bytes - 1) / part_bytes;
    const int64_t each = kind == "art" ? art_us / int64_t(parts + 1) : part_us;
    const int64_t begin = now;
    line_writer head("blob");
    head.text("id", track.id).text("kind", kind).text("fmt", b.fmt);
    head.integer("size", int64_t(b.data.size())).text("crc", crc_text(b.data));
    head.integer("parts", int64_t(parts));
    if (b.count > 0) head.integer("count", b.count);
    lines.push_back({now, true, head.open()});
    for (size_t i = 0; i < parts; i++) {
        now += each;
        const size_t at = i * part_bytes;
        const auto part = std::span(b.data).subspan(at, std::min(part_bytes, b.data.size() - at));
        lines.push_back({now, false,
                         line_writer("part")
                             .text("id", track.id)
                             .text("kind", kind)
                             .integer("i", int64_t(i))
                             .text("d", base64_encode(part))
                             .open()});
    }
    now = (kind == "art" ? begin + art_us : now) + pause_us;
}

void add_loaded(int64_t us, int deck, const track_model* track, line_list& lines) {
    line_writer line("trk");
    line.integer("n", deck);
    if (track != nullptr) {
        line.text("id", track->id);
    } else {
        line.null("id");
    }
    lines.push_back({us, true, line.flag("meta", track != nullptr).open()});
}

std::vector<loading> loadings_of(const set_plan& plan) {
    std::vector<loading> loads;
    for (const planned_track& p : plan.tracks) {
        loads.push_back({p.load_us, p.deck, &p.track});
    }
    for (const brief_load& b : plan.brief_loads) {
        if (b.track >= plan.tracks.size()) continue;
        loads.push_back({b.load_us, b.deck, &plan.tracks[b.track].track});
    }
    std::erase_if(loads, [&](const loading& l) { return l.us >= plan.end_us; });
    std::sort(loads.begin(), loads.end(),
              [](const loading& a, const loading& b) { return a.us < b.us; });
    return loads;
}

// A deck that is emptied and not loaded in the same moment.
void add_unloads(const set_plan& plan, line_list& lines) {
    const std::vector<loading> loads = loadings_of(plan);
    auto add_unload = [&](int64_t us, int deck) {
        const bool replaced = std::any_of(loads.begin(), loads.end(), [&](const loading& l) {
            return l.deck == deck && l.us == us;
        });
        if (!replaced && us < plan.end_us) add_loaded(us, deck, nullptr, lines);
    };
    for (const planned_track& p : plan.tracks) add_unload(p.unload_us, p.deck);
    for (const brief_load& b : plan.brief_loads) add_unload(b.unload_us, b.deck);
}

}  // namespace

void add_track_lines(const set_plan& plan, line_list& lines) {
    sender link(lines);
    for (const loading& load : loadings_of(plan)) {
        add_loaded(load.us, load.deck, load.track, lines);
        link.send(load);
    }
    add_unloads(plan, lines);
}

}  // namespace bridge_sim
