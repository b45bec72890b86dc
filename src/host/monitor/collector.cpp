#include "host/monitor/collector.h"

#include <algorithm>
#include <cmath>
#include <ctime>

#include "deck/history_file.h"
#include "track/json.h"

namespace monitor {

namespace {

constexpr int level_radius = 2;  // columns around the position whose level is shown

// Lines may hold numbers of any size. What no deck can mean becomes `otherwise` here, so that the
// widgets calculate with small finite numbers only.
double sane(double value, double limit, double otherwise) {
    return std::isfinite(value) && std::fabs(value) <= limit ? value : otherwise;
}

double sane_bpm(double bpm) {
    constexpr double fastest = 1000.0;
    return std::max(sane(bpm, fastest, 0.0), 0.0);
}

double sane_ms(double ms, double otherwise) {
    constexpr double longest = 100.0 * 3600.0 * 1000.0;
    return sane(ms, longest, otherwise);
}

void read_link(const deckbus::session& source, link_picture& link) TVR_REQUIRES(source.mutex) {
    const deckbus::state& state = source.state;
    link.connected = state.connected;
    link.port = source.active_port.empty() ? source.wanted_port : source.active_port;
    link.status = source.status;
    link.firmware = deckbus::text(state.bridge, "fw");
    link.address = deckbus::text(state.bridge, "ip");
    link.network_phase = deckbus::text(state.bridge, "vcdj");
    link.uptime_s = deckbus::integer(state.bridge, "uptimeMs", 0) / 1000;
    link.network_link = deckbus::flag(state.bridge, "link");
}

std::shared_ptr<const heard_list> heard_lines(const deckbus::json& items) {
    auto lines = std::make_shared<heard_list>();
    for (const auto& item : deckbus::history_list(items, std::time(nullptr))) {
        heard_line line;
        line.time = deckbus::text(item, "time");
        line.deck = deckbus::integer32(item, "n", 0);
        line.title = deckbus::text(item, "title");
        line.artist = deckbus::text(item, "artist");
        line.bpm = deckbus::number(item, "bpm", 0);
        lines->push_back(std::move(line));
    }
    return lines;
}

// Tracks that the last picture still held and this one does not are let go.
template <typename MAP>
void keep_loaded(MAP& tracks, const std::vector<deck_picture>& decks) {
    std::erase_if(tracks, [&](const auto& entry) {
        return std::none_of(decks.begin(), decks.end(),
                            [&](const deck_picture& d) { return d.track_id == entry.first; });
    });
}

}  // namespace

set_picture collector::collect(double t) {
    set_picture set;
    set.t = t;
    deckbus::json heard;  // null while the history is as it was
    {
        deckbus::session& source = *session;
        tvr_lock hold(source.mutex);
        read_players(source.state, set);
        if (source.state.history_rev != history_rev) heard = source.state.history_json(t);
        history_rev = source.state.history_rev;
        read_link(source, set.link);
    }
    if (!heard.is_null()) history = heard_lines(heard);
    set.history = history;
    std::sort(set.decks.begin(), set.decks.end(),
              [](const auto& a, const auto& b) { return stands_left_of(a.number, b.number); });
    for (deck_picture& d : set.decks) {
        set.air_known = set.air_known || d.on_air;
        if (!d.track || d.position_ms < 0) continue;
        const int column = int(d.position_ms * deckbus::detail_columns_per_s / 1000.0);
        d.track->detail.levels(column, level_radius, d.levels);
    }
    keep_loaded(tracks, set.decks);
    return set;
}

void collector::read_players(const deckbus::state& state, set_picture& set) {
    set.master = state.master_player;
    for (const auto& [n, p] : state.players) {
        if (n == set.master) {
            set.master_bpm = sane_bpm(p.effective_bpm());
            set.master_phase = sane(p.beat_phase(set.t), 1.0, 0.0);
        }
        if (!p.present) continue;
        if (p.is_deck()) {
            set.decks.push_back(read_deck(state, n, set.t));
        } else {
            set.air_known = set.air_known || p.type == deckbus::type_mixer;
            set.devices.push_back((p.name.empty() ? "device" : p.name) + " " + std::to_string(n));
        }
    }
}

deck_picture collector::read_deck(const deckbus::state& state, int n, double t) {
    const deckbus::player& p = state.players.at(n);
    const deckbus::track* loaded = state.track_of(n);
    deck_picture d;
    d.number = n;
    d.name = p.name;
    d.playing = p.playing;
    d.on_air = p.on_air;
    d.master = n == state.master_player;
    d.sync = p.sync;
    d.bpm = sane_bpm(p.bpm);
    d.effective_bpm = sane_bpm(p.effective_bpm());
    d.pitch = sane(p.pitch, 100.0, 0.0);
    d.beat_in_bar = p.beat_in_bar;
    d.beat = p.beat;
    d.beat_phase = sane(p.beat_phase(t), 1.0, 0.0);
    d.bar_phase = sane(p.bar_phase(t), 1.0, 0.0);
    d.beats_to_cue = p.beats_to_cue();
    d.cue_ramp = sane(p.cue_ramp(t), 1.0, 0.0);
    d.since_cue_s = p.cue_time > 0 ? t - p.cue_time : -1;
    d.position_ms = sane_ms(p.position_ms(t, loaded), -1);
    d.duration_ms = sane_ms(p.length_s * 1000.0, 0);
    d.track_id = p.track_id;
    if (loaded == nullptr) return d;
    const double track_ms = sane_ms(loaded->duration_ms(), 0);
    if (track_ms > 0) d.duration_ms = track_ms;
    d.complete = loaded->complete;
    d.problem = loaded->error;
    d.track = read_track(p.track_id, *loaded);
    return d;
}

std::shared_ptr<const track_picture> collector::read_track(const std::string& id,
                                                           const deckbus::track& t) {
    std::shared_ptr<const track_picture>& known = tracks[id];
    if (known && known->rev == t.rev) return known;
    auto fresh = std::make_shared<track_picture>();
    fresh->id = id;
    fresh->rev = t.rev;
    fresh->title = deckbus::text(t.meta, "title");
    fresh->artist = deckbus::text(t.meta, "artist");
    fresh->key = deckbus::text(t.meta, "key");
    fresh->preview = t.preview;
    fresh->detail = t.detail;
    fresh->grid = t.grid;
    fresh->cues = t.cues;
    fresh->phrases = t.phrases;
    fresh->phrases_from = t.phrases_from;
    known = std::move(fresh);
    return known;
}

}  // namespace monitor
