// The connection of a device, and the road of an event from its queue to the script.

#include "binding/device.h"

#include <algorithm>
#include <limits>

#include "base/bounded.h"
#include "binding/script_value.h"
#include "net/relay/relay.h"
#include "runtime/local/error_sink.h"
#include "runtime/local/global_lock.h"
#include "runtime/payload/std_json.h"
#include "runtime/script/script.h"
#include "stdobj/arguments.h"

namespace {

bool stop_requested() {
    const tvrscript* script = tvr_script_local();
    return script != nullptr && script->stop_requested();
}

}  // namespace

tvr_deckbus::~tvr_deckbus() {
    let_go();
}

// The queue goes first, so that nothing is copied to it any more.
void tvr_deckbus::let_go() {
    uncalled.clear();
    listener.reset();
    session.reset();
}

// Ending a session waits up to 50 ms for its thread, while other tasks may run.
void tvr_deckbus::let_others_run_and_let_go() {
    uncalled.clear();
    listener.reset();
    std::shared_ptr<deckbus::session> last = std::move(session);
    const tvr_scoped_unlock others_may_run;
    last.reset();
}

void tvr_deckbus::attach(std::shared_ptr<deckbus::session> to) {
    let_go();
    session = std::move(to);
    last_error.clear();
    if (session != nullptr) listener = session->attach();
}

tvrvar_shared tvr_deckbus::open(tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("deckbus.device.open", args);
    const tvrvar_shared name = given.value(0);
    const std::string port(name->type == tvrvar_type_string ? name->string_view() : "");
    int64_t baud = deckbus::session::default_baud;
    if (given.count() > 1) baud = given.value(1)->int_value();
    constexpr int64_t fastest = std::numeric_limits<int>::max();
    let_others_run_and_let_go();
    attach(deckbus::session::open_serial(port, int(std::clamp<int64_t>(baud, 0, fastest))));
    return {};
}

tvrvar_shared tvr_deckbus::replay(tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("deckbus.device.replay", args);
    const std::string path = given.any_text(0);
    const double speed = given.count() > 1 ? given.value(1)->float_value() : 1.0;
    const bool loop = given.count() > 2 ? !given.value(2)->compare_zero() : true;
    let_others_run_and_let_go();
    std::shared_ptr<deckbus::session> found;
    std::string problem;
    {
        const tvr_scoped_unlock others_may_run;
        found = deckbus::session::open_replay(path, speed, loop, problem);
    }
    if (found != nullptr) {
        attach(std::move(found));
    } else {
        last_error = problem;
        runtime_error(problem);
    }
    return {};
}

tvrvar_shared tvr_deckbus::network(tvr_vm_context&, tvr_native_args&) {
    let_others_run_and_let_go();
    attach(deckbus::session::open_network());
    deckbus::net::start();
    return {};
}

tvrvar_shared tvr_deckbus::close(tvr_vm_context&, tvr_native_args&) {
    let_others_run_and_let_go();
    return {};
}

void tvr_deckbus::update_script_pre() {
    if (session == nullptr) return;
    if (session->is_network) {
        tvr_lock hold(session->mutex);
        session->tick(deckbus::now_s());
    }
    dispatch_events();
}

void tvr_deckbus::dispatch_events() {
    collect_events();
    if (!calling) call_callbacks();
}

// All of the queue at once, also what the callbacks have not seen yet: events() inside of a
// callback is complete, and the callbacks still get everything in order.
void tvr_deckbus::collect_events() {
    if (session == nullptr || listener == nullptr) return;
    deckbus::event_queue batch = session->take(*listener);
    constexpr double ms_per_s = 1000.0;
    const double now = deckbus::now_s();
    for (deckbus::event& event : batch) {
        deckbus::json value =
            event.data.is_object() ? std::move(event.data) : deckbus::json::object();
        value["type"] = event.kind;
        value["ageMs"] = (now - event.t) * ms_per_s;
        const tvrvar_shared made = deckbus::to_var(value);
        if (events_polled) script_events.push_back(made);
        uncalled.push_back({std::move(event.kind), made});
    }
    tvr_drop_oldest(script_events, max_script_events);
    tvr_drop_oldest(uncalled, deckbus::max_events);
}

// A callback may do anything: let go of the last variable that holds this object, close it, open
// it anew, ask for events. Who closes it hears no more of what came before.
void tvr_deckbus::call_callbacks() {
    if (uncalled.empty()) return;
    const tvrptr_strong<tvrobject_base> alive(this);
    struct under_way {
        explicit under_way(bool& of) : calling(of) { calling = true; }
        ~under_way() { calling = false; }  // whatever was thrown
        bool& calling;
    } const now(calling);
    while (!uncalled.empty() && !stop_requested()) {
        const call next = std::move(uncalled.front());
        uncalled.pop_front();
        call_for(next);
    }
}

void tvr_deckbus::call_for(const call& next) {
    if (next.kind == "beat" && on_beat_task.is_set()) {
        on_beat_task.call(next.value, open_calls);
    } else if (next.kind == "cue" && on_cue_task.is_set()) {
        on_cue_task.call(next.value, open_calls);
    }
    if (on_event_task.is_set()) on_event_task.call(next.value, open_calls);
}

tvrvar_shared tvr_deckbus::events(tvr_vm_context&, tvr_native_args&) {
    events_polled = true;
    dispatch_events();
    tvrvar_shared list = tvrvar_shared::make();
    tvr_std_json& out = list->as_json(true);
    for (const tvrvar_shared& event : script_events) out.push_back(event);
    script_events.clear();
    return list;
}

tvrvar_shared tvr_deckbus::on_beat(tvr_vm_context&, tvr_native_args& args) {
    on_beat_task.set(*args[0], "deckbus.device.on_beat");
    return {};
}

tvrvar_shared tvr_deckbus::on_cue(tvr_vm_context&, tvr_native_args& args) {
    on_cue_task.set(*args[0], "deckbus.device.on_cue");
    return {};
}

tvrvar_shared tvr_deckbus::on_event(tvr_vm_context&, tvr_native_args& args) {
    on_event_task.set(*args[0], "deckbus.device.on_event");
    return {};
}
