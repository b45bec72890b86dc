#include "host/monitor/status_line.h"

#include <algorithm>
#include <string>

#include "host/monitor/format.h"
#include "host/monitor/terminal_text.h"

namespace monitor {

namespace {

constexpr color ground = theme::panel;

// A recording is called by its file's name, a device by its path.
std::string port_name(const std::string& port) {
    constexpr std::string_view replay = "replay:";
    if (!port.starts_with(replay)) return port.empty() ? "automatic port" : port;
    const size_t slash = port.rfind('/');
    return port.substr(slash == std::string::npos ? replay.size() : slash + 1);
}

std::string link_words(const link_picture& link) {
    std::string words;
    auto add = [&words](const std::string& more) { words += (words.empty() ? "" : "  ") + more; };
    if (!link.firmware.empty()) add("fw " + link.firmware);
    if (link.uptime_s > 0) add("up " + uptime_text(link.uptime_s));
    if (link.network_link) add(link.address.empty() ? "link" : link.address);
    if (!link.network_phase.empty()) add(link.network_phase);
    return words;
}

int draw_tempo(const area& row, int end, const set_picture& set) {
    if (set.master == 0 || row.width() < 60) return end;
    end = row.put_right(end, 0, tempo_text(set.master_bpm), {theme::master, ground, style_bold});
    return row.put_right(end - 1, 0, "master " + std::to_string(set.master),
                         {theme::soft, ground, style_plain}) -
           2;
}

}  // namespace

void draw_status(const area& row, const set_picture& set, const view& how) {
    row.fill(ground);
    const link_picture& link = set.link;
    int end = row.put_right(row.width() - 1, 0, how.clock, {theme::faint, ground, style_plain}) - 2;
    end = draw_tempo(row, end, set);
    const color lamp = link.connected ? theme::good : theme::alarm;
    int x = row.put(1, 0, "●", {lamp, ground, style_bold});
    x = row.put(x + 1, 0, port_name(link.port), {theme::ink, ground, style_bold}, end - x - 1);
    const std::string trouble = link.status.empty() && !link.connected ? "waiting" : link.status;
    if (!trouble.empty()) {
        row.put(x + 2, 0, trouble, {theme::warning, ground, style_plain}, end - x - 2);
        return;
    }
    x = row.put(x + 2, 0, link_words(link), {theme::soft, ground, style_plain}, end - x - 2);
    for (const std::string& device : set.devices) {
        if (end - x - 2 < text_width(device)) break;
        x = row.put(x + 2, 0, device, {theme::faint, ground, style_plain}, end - x - 2);
    }
}

void draw_footer(const area& row, const view& how, int hidden) {
    struct hint {
        const char* key;
        const char* effect;
    };
    constexpr hint hints[] = {
        {"q", "quit"}, {"+ -", "zoom"}, {"tab", "deck"}, {"e", "lists"}, {"?", "help"}};
    int x = 1;
    for (const hint& h : hints) {
        x = row.put(x, 0, h.key, {theme::soft, theme::ground, style_bold});
        x = row.put(x + 1, 0, h.effect, {theme::faint, theme::ground, style_plain}) + 3;
    }
    std::string right = formatted("1:%d", how.columns_per_cell());
    if (how.focus > 0) right = "deck " + std::to_string(how.focus) + "  " + right;
    if (hidden > 0) right = std::to_string(hidden) + " more decks  " + right;
    if (row.width() - x > text_width(right)) {
        row.put_right(row.width() - 1, 0, right, {theme::faint, theme::ground, style_plain});
    }
}

void draw_help(const area& on) {
    constexpr const char* lines[] = {
        "q, Ctrl-C   quit",
        "+ -         zoom the waveforms in and out",
        "0           usual zoom",
        "tab         all decks, or one alone",
        "e           lists: both, events, history, none",
        "Ctrl-L      draw everything anew",
        "?           this help",
        "",
        "A deck that is not on air is dim. The diamond",
        "stands right of the middle when a deck is ahead",
        "of the master, left when it is behind.",
    };
    constexpr int width = 52, height = int(std::size(lines)) + 2;
    const area box = on.part({(on.width() - width) / 2, (on.height() - height) / 2, width, height});
    box.fill(theme::panel);
    int y = 1;
    for (const char* line : lines) {
        box.put(2, y++, line, {theme::ink, theme::panel, style_plain}, box.width() - 4);
    }
}

}  // namespace monitor
