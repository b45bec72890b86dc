// What a device answers: each question under the session's mutex, its result as a value without.

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <limits>

#include "binding/device.h"
#include "binding/script_value.h"
#include "deck/history_file.h"
#include "runtime/local/global_lock.h"
#include "runtime/payload/std_buffer.h"
#include "stdobj/arguments.h"

using deckbus::json;

namespace {

tvrvar_shared empty_list() {
    return deckbus::to_var(json::array());
}

// The number of a player; empty after a runtime error. What is no int is no player either.
std::optional<int> deck_of(const char* method, const tvr_native_args& args) {
    const auto n = tvr_arguments(method, args).whole(0, "n");
    if (!n) return {};
    return int(std::clamp<int64_t>(*n, 0, std::numeric_limits<int>::max()));
}

}  // namespace

// Puts a question to the state. What a closed device answers is the result type's empty value.
template <typename ASK>
auto tvr_deckbus::ask(ASK question) -> decltype(question(std::declval<deckbus::state&>())) {
    if (session == nullptr) return {};
    tvr_lock hold(session->mutex);
    return question(session->state);
}

tvrvar_shared tvr_deckbus::connected(tvr_vm_context&, tvr_native_args&) {
    return ask([](const deckbus::state& of) { return of.connected; });
}

tvrvar_shared tvr_deckbus::port(tvr_vm_context&, tvr_native_args&) {
    if (session == nullptr) return "";
    tvr_lock hold(session->mutex);
    return session->active_port;
}

tvrvar_shared tvr_deckbus::error(tvr_vm_context&, tvr_native_args&) {
    if (session == nullptr) return last_error;
    tvr_lock hold(session->mutex);
    return session->status;
}

tvrvar_shared tvr_deckbus::send(tvr_vm_context&, tvr_native_args& args) {
    const std::string command = tvr_arguments("deckbus.device.send", args).any_text(0);
    if (session == nullptr) return {};
    tvr_lock hold(session->mutex);
    session->send(command);
    return {};
}

tvrvar_shared tvr_deckbus::master(tvr_vm_context&, tvr_native_args&) {
    return deckbus::to_var(
        ask([](const deckbus::state& of) { return of.master_json(deckbus::now_s()); }));
}

tvrvar_shared tvr_deckbus::player(tvr_vm_context&, tvr_native_args& args) {
    const auto n = deck_of("deckbus.device.player", args);
    if (!n) return {};
    return deckbus::to_var(
        ask([&](const deckbus::state& of) { return of.player_json(*n, deckbus::now_s()); }));
}

tvrvar_shared tvr_deckbus::track(tvr_vm_context&, tvr_native_args& args) {
    const std::string id = tvr_arguments("deckbus.device.track", args).any_text(0);
    return deckbus::to_var(ask([&](const deckbus::state& of) { return of.track_json(id); }));
}

tvrvar_shared tvr_deckbus::state(tvr_vm_context&, tvr_native_args&) {
    return deckbus::to_var(
        ask([](const deckbus::state& of) { return of.snapshot(deckbus::now_s()); }));
}

tvrvar_shared tvr_deckbus::history(tvr_vm_context&, tvr_native_args&) {
    const json known =
        ask([](const deckbus::state& of) { return of.history_json(deckbus::now_s()); });
    if (known.is_null()) return empty_list();
    return deckbus::to_var(deckbus::history_list(known, std::time(nullptr)));
}

tvrvar_shared tvr_deckbus::history_count(tvr_vm_context&, tvr_native_args&) {
    return int64_t(ask([](const deckbus::state& of) { return of.history_rev; }));
}

tvrvar_shared tvr_deckbus::history_clear(tvr_vm_context&, tvr_native_args&) {
    ask([](deckbus::state& of) {
        of.clear_history();
        return true;
    });
    return {};
}

tvrvar_shared tvr_deckbus::history_save(tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("deckbus.device.history_save", args);
    const std::string format = given.count() > 0 ? given.any_text(0) : "csv";
    const json known =
        ask([](const deckbus::state& of) { return of.history_json(deckbus::now_s()); });
    if (known.is_null()) return {};
    std::string path;
    {
        const tvr_scoped_unlock others_may_run;  // a disk may be slow
        const char* home = std::getenv("HOME");
        const std::time_t wall = std::time(nullptr);
        path = deckbus::save_history(deckbus::history_list(known, wall), format,
                                     home != nullptr ? home : "", wall);
    }
    return path.empty() ? tvrvar_shared() : tvrvar_shared(path);
}

tvrvar_shared tvr_deckbus::take_audio(tvr_vm_context&, tvr_native_args& args) {
    const bool with_values = args.empty() || !args[0]->compare_zero();
    auto chunks = ask([](deckbus::state& of) { return of.take_audio(); });
    return deckbus::audio_list(std::move(chunks), deckbus::now_s(), with_values);
}

tvrvar_shared tvr_deckbus::deck_texture_info(tvr_vm_context&, tvr_native_args& args) {
    const auto n = deck_of("deckbus.device.deck_texture_info", args);
    if (!n) return {};
    return deckbus::to_var(ask([&](const deckbus::state& of) { return of.deck_texture_info(*n); }));
}

// The pixels are drawn into the memory that the value keeps.
tvrvar_shared tvr_deckbus::deck_texture(tvr_vm_context&, tvr_native_args& args) {
    const auto n = deck_of("deckbus.device.deck_texture", args);
    if (!n) return {};
    deckbus::bytes pixels;
    const bool found = ask([&](const deckbus::state& of) { return of.deck_texture(*n, pixels); });
    return found ? deckbus::binary_value(std::move(pixels)) : tvrvar_shared();
}

tvrvar_shared tvr_deckbus::artwork(tvr_vm_context&, tvr_native_args& args) {
    const auto n = deck_of("deckbus.device.artwork", args);
    if (!n) return {};
    deckbus::bytes file;
    const bool found = ask([&](const deckbus::state& of) { return of.artwork(*n, file); });
    return found ? deckbus::binary_value(std::move(file)) : tvrvar_shared();
}
