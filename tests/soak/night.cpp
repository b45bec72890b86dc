#include "night.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "base/clock.h"

namespace soak {

namespace {

std::atomic<bool> early{false};  // set by signals, read by the night

constexpr double s_per_minute = 60;
constexpr double most_silence_s = 120;  // of a process that tells once a second
constexpr double end_within_s = 120;
constexpr int pause_ms = 25;         // between two looks at everything
constexpr int64_t calm_reports = 4;  // until what was under way has passed
constexpr size_t most_faults = 40;   // in the verdict

#if defined(SOAK_SANITIZED)
constexpr bool judges_memory = false;  // freed memory is kept back
#else
constexpr bool judges_memory = true;
#endif

// Words that no line of a sound process has. The show is told to say everything at its end.
constexpr const char* bad_words[] = {
    "Script shutdown",  "still referenced",      "pool chunk",      "double free?",
    "double allocate?", "invalid variable pool", "belongs to pool", "Sanitizer",
    "terminate called", "stack smashing",
};

pace pace_of(const night_wish& wish) {
    return wish.quick ? pace{4, 8, 1} : pace{12, 40, 5};
}

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

std::vector<std::string> board_words(const std::string& link) {
    return {"serve", "--pty", link, "--loop", "--speed", "6", CLUB_NIGHT};
}

// Lines are lost and damaged in every life; the board hangs, fails or is pulled out in most.
std::vector<std::string> board_mishaps(random_source& random, double life_s) {
    std::vector<std::string> words = {
        "--seed", std::to_string(random() % 1000), "--drop", "0.002", "--garble", "0.002"};
    for (uint64_t i = random() % 4; i > 0; --i) {
        const std::string at = number(draw(random, 1, life_s));
        const std::vector<std::string> kinds[] = {
            {"--stall", "4@" + at}, {"--unplug", "2@" + at}, {"--reboot", at}};
        for (const std::string& word : kinds[random() % 3]) words.push_back(word);
    }
    return words;
}

// It calls every port that a node of this machine takes.
std::vector<std::string> relay_words() {
    std::vector<std::string> words = {"relay", "--name", "soak", "--loop", "--speed", "4", "--pcm"};
    for (int port = 6454; port < 6460; ++port) {
        words.emplace_back("--to");
        words.push_back("127.0.0.1:" + std::to_string(port));
    }
    words.emplace_back(CLUB_NIGHT);
    return words;
}

std::vector<std::string> relay_mishaps(random_source& random, double life_s) {
    std::vector<std::string> words = {"--seed",      std::to_string(random() % 1000),
                                      "--loss",      "0.1",
                                      "--duplicate", "0.05",
                                      "--reorder",   "0.05",
                                      "--delay",     "3"};
    if (random() % 2 == 0) {
        words.emplace_back("--restart");
        words.push_back(number(draw(random, 1, life_s)));
    }
    return words;
}

// A set of a minute whose last line says that it is over. The number of its beats, 0 if there is
// no such set.
int make_recording(const std::string& path) {
    bridge_sim::test::sim_process maker(
        {"record", "--seed", "3", "--minutes", "1", "--pcm", "0", "-o", path});
    if (maker.finish() != 0) return 0;
    constexpr std::string_view time_key = "\"rx\":";
    int beats = 0;
    double last_s = 0;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        beats += line.find("\"t\":\"beat\"") != line.npos;
        const size_t at = line.find(time_key);
        if (at != line.npos) last_s = std::atof(line.c_str() + at + time_key.size());
    }
    std::ofstream(path, std::ios::app)
        << R"({"t":"warn","msg":"the end","rx":)" << last_s + 0.1 << "}\n";
    return beats;
}

}  // namespace

void end_early() {
    early = true;
}

bool was_ended_early() {
    return early;
}

night::night(const night_wish& wanted)
    : wish(wanted),
      random(wanted.seed),
      begun(tvr_now_s()),
      board("board", board_words(scratch.path("board")), board_mishaps, pace_of(wanted), random),
      relay("relay", relay_words(), relay_mishaps, pace_of(wanted), random) {}

double night::now() const {
    return tvr_now_s() - begun;
}

void night::fail(const std::string& why) {
    if (faults.size() < most_faults) faults.push_back("at " + number(now()) + " s: " + why);
}

bool night::goes_on() const {
    return !early && faults.empty();
}

std::vector<std::string> night::show_words(const std::string& port) const {
    return {TAVRO_PROGRAM,
            "run",
            "-v",
            SCRIPTS "/night.tvio",
            CLUB_NIGHT,
            scratch.path("made.jsonl"),
            std::to_string(made_beats),
            scratch.path(port),
            scratch.path("calm")};
}

void night::start_show() {
    show.process = std::make_unique<watched_process>(
        "show", show_words("board"),
        [this](std::string_view line, bool is_error) { hear_show(line, is_error); });
}

void night::start_reloads() {
    reloads.process = std::make_unique<watched_process>(
        "reloads",
        std::vector<std::string>{RELOADS_PROGRAM, PACKAGES, SCRIPTS "/reloads", CLUB_NIGHT,
                                 scratch.path("made.jsonl"), scratch.path("calm")},
        [this](std::string_view line, bool is_error) { hear_reloads(line, is_error); });
}

void night::take_counts(watched& of, std::string_view line) {
    of.counts = counts_in(line);
    of.told++;
    of.told_at = now();
    of.calms_in_row = of.counts["calm"] != 0 ? of.calms_in_row + 1 : 0;
}

void night::hear_show(std::string_view line, bool is_error) {
    if (!is_error) {
        if (!line.starts_with("night ")) return fail("the show says: " + std::string(line));
        take_counts(show, line);
        board.hear(now(), show.counts["board"], show.told);
        relay.hear(now(), show.counts["relay"], show.told);
        return;
    }
    if (line == "raised on purpose") raised_reports++;
    hear_log("show", line);
}

void night::hear_reloads(std::string_view line, bool is_error) {
    if (is_error) return hear_log("reloads", line);
    if (!line.starts_with("reloads ")) return fail("reloads says: " + std::string(line));
    take_counts(reloads, line);
}

void night::hear_log(const std::string& name, std::string_view line) {
    for (const char* bad : bad_words) {
        if (line.find(bad) == line.npos) continue;
        fail(name + "'s log says: " + std::string(line));
        return;
    }
}

void night::watch(watched& of) {
    of.process->read(0);
    if (of.process->has_ended()) {
        fail(of.process->name + " ended too early, " +
             (of.process->bad_end().empty() ? "as if well" : of.process->bad_end()));
    } else if (now() - of.told_at > most_silence_s) {
        fail(of.process->name + " has been silent for long");
    }
}

void night::turn(bool steady) {
    constexpr double sample_s = 1;
    show.process->read(pause_ms);
    watch(show);
    watch(reloads);
    for (fickle_source* source : {&board, &relay}) {
        source->step(now(), steady);
        if (!source->fault().empty()) fail(source->fault());
    }
    turn_brief_show(steady);
    if (now() < next_sample) return;
    next_sample = now() + sample_s;
    for (watched* of : {&show, &reloads}) of->seen.samples.push_back(of->process->look(now()));
}

// Half of them end while they are still loading or opening.
void night::begin_brief_show() {
    const bool very_brief = random() % 2 == 0;
    const double lasts_s = very_brief ? draw(random, 0, 0.3) : draw(random, 0.3, 4);
    brief.speaks = false;
    brief.asked_at = -1;
    brief.process =
        std::make_unique<watched_process>("brief show", show_words("no_board"),
                                          [this, lasts_s](std::string_view line, bool is_error) {
                                              if (!brief.speaks) brief.ends_at = now() + lasts_s;
                                              brief.speaks = true;
                                              if (is_error) return hear_log("brief show", line);
                                              if (!line.starts_with("night "))
                                                  fail("the brief show says: " + std::string(line));
                                          });
}

void night::turn_brief_show(bool steady) {
    if (!brief.process && !steady) return begin_brief_show();
    if (!brief.process) return;
    brief.process->read(0);
    if (brief.process->has_ended()) {
        const std::string why = brief.process->bad_end();
        if (!why.empty())
            fail("a brief show ended with " + why);
        else if (brief.asked_at < 0)
            fail("a brief show ended by itself");
        brief.process.reset();
        brief.ended++;
    } else if (brief.asked_at >= 0) {
        if (now() - brief.asked_at > end_within_s) fail("a brief show does not end");
    } else if (brief.speaks && now() >= brief.ends_at) {
        brief.process->interrupt();
        brief.asked_at = now();
    }
}

void night::play_until(double end) {
    while (goes_on() && now() < end) turn(false);
}

bool night::is_calm() const {
    return !brief.process && board.is_steady() && relay.is_steady() &&
           show.calms_in_row >= calm_reports && reloads.calms_in_row >= calm_reports;
}

// Takes a sample at each of the show's reports, which are a second apart.
void night::rest() {
    constexpr size_t samples = 5;
    std::ofstream(scratch.path("calm")) << '\n';
    while (goes_on() && !is_calm()) turn(true);
    std::vector<sample> of_show, of_reloads;
    for (int64_t told = show.told; goes_on() && of_show.size() < samples; turn(true)) {
        if (show.told == told) continue;
        told = show.told;
        of_show.push_back(show.process->look(now()));
        of_reloads.push_back(reloads.process->look(now()));
    }
    if (!goes_on()) return;
    show.seen.calms.push_back(median_of(of_show));
    reloads.seen.calms.push_back(median_of(of_reloads));
    check_counts();
    std::remove(scratch.path("calm").c_str());
}

// In a calm moment every callback has ended, every error has been reported, and everything has gone
// on since the last one.
void night::check_counts() {
    const auto differ = [&](const char* what, int64_t a, int64_t b) {
        if (a != b)
            fail(std::string(what) + ": " + std::to_string(a) + " and " + std::to_string(b));
    };
    const auto grown = [&](watched& of, const char* what) {
        int64_t& before = of.counts_of_last_calm[what];
        if (of.counts[what] <= before) fail(of.process->name + " counted no more " + what);
        before = of.counts[what];
    };
    for (const char* what : {"frames", "club", "board", "relay", "passes", "launches", "compiled",
                             "guests", "worked", "textures", "sound", "raised", "begun"}) {
        grown(show, what);
    }
    for (const char* what : {"loads", "refused", "frames", "beats"}) grown(reloads, what);
    differ("callbacks begun and ended", show.counts["begun"], show.counts["ended"]);
    differ("errors raised and reported", show.counts["raised"], raised_reports);
}

void night::end(watched& of) {
    if (of.process->has_ended()) return;  // too early, which has been told
    of.process->interrupt();
    const double asked_at = now();
    while (!of.process->has_ended()) {
        if (now() - asked_at > end_within_s) return fail(of.process->name + " does not end");
        for (watched* each : {&show, &reloads}) each->process->read(pause_ms);
    }
    if (!of.process->bad_end().empty()) {
        fail(of.process->name + " ended with " + of.process->bad_end());
    }
}

void night::judge() {
    if (!goes_on()) return;  // the quarters are not whole
    if (board.restarts() == 0 || relay.restarts() == 0) fail("nothing was restarted");
    for (const watched* of : {&show, &reloads}) {
        for (const std::string& fault : faults_of(of->process->name, of->seen, judges_memory)) {
            fail(fault);
        }
    }
}

bool night::run() {
    std::printf("soak: %.1f minutes, seed %llu\n", wish.minutes,
                static_cast<unsigned long long>(wish.seed));
    std::fflush(stdout);
    setenv("TVR_KERNEL_CACHE", scratch.path("kernels").c_str(), 1);
    setenv("NO_COLOR", "1", 1);
    made_beats = make_recording(scratch.path("made.jsonl"));
    if (made_beats == 0) fail("could not make a recording");
    start_show();
    start_reloads();
    const double started = now();
    show.told_at = reloads.told_at = started;
    for (int quarter = 1; quarter <= quarters && goes_on(); ++quarter) {
        play_until(started + wish.minutes * s_per_minute * quarter / quarters);
        rest();
    }
    end(show);
    end(reloads);
    judge();
    tell();
    return faults.empty();
}

}  // namespace soak
