#pragma once

// The decks as scripts see them: the class "deckbus.device" and the namespace "deckbus".
//
// This folder:
//
//   device.h           the object: attach, ask, hand events over
//                      (device.cpp: connection and the road of an event;
//                      device_queries.cpp: what it answers; device_methods.cpp: the table)
//   event_callback.h   a function of a script that is called for events
//   script_value.h     deck JSON and sound as script values
//   module.cpp         the namespace, and what the library exports
//
// A device holds no deck data. It is a handle on a session, which others may share, with a queue
// of its own in which the session leaves copies of every event. Once a frame, before the tasks,
// the queue is swapped out under the session's mutex, turned into values without it, and handed
// to the script: kept for events(), and given to the callbacks.
//
// Thread: whoever runs scripts of the interpreter; nothing here locks but the session's mutex, for
// one question each, and never while script code runs. Two interpreters use two devices, which
// may share a session.

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "binding/event_callback.h"
#include "deck/session.h"
#include "runtime/object/object.h"
#include "runtime/object/update_hooks.h"

class tvr_deckbus : public tvrobject<tvr_deckbus, "deckbus.device">, public tvrobject_update_pre {
public:
    static constexpr size_t max_script_events = 256;  // that wait for events()

    static void script_register(tvrobject_metadata& m);

    ~tvr_deckbus() override;  // as close(); may join the session's thread

    void construct(tvr_vm_context&, tvr_native_args&) {}

    // Takes a session in place of the one it has; null lets go. What open(), replay() and network()
    // end in, and the way in for a program with a session of its own.
    void attach(std::shared_ptr<deckbus::session> to);

    // Once a frame: notices the silence of a network session, and hands events over.
    void update_script_pre() override;

    // The methods of scripts. Without a session they give none, false, 0 or nothing, as fits.

    tvrvar_shared open(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared replay(tvr_vm_context& frame, tvr_native_args& args);  // may block on the file
    tvrvar_shared network(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared take_audio(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared close(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared connected(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared port(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared error(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared send(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared master(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared player(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared track(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared history(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared history_count(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared history_clear(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared history_save(tvr_vm_context& frame, tvr_native_args& args);  // blocks on the file
    tvrvar_shared state(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared deck_texture_info(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared deck_texture(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared artwork(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared events(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared on_beat(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared on_cue(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared on_event(tvr_vm_context& frame, tvr_native_args& args);

private:
    // An event as a value, on its way to the callbacks.
    struct call {
        std::string kind;
        tvrvar_shared value;
    };

    static void register_transport(tvrobject_metadata& m);
    static void register_decks(tvrobject_metadata& m);
    static void register_pictures(tvrobject_metadata& m);
    static void register_events(tvrobject_metadata& m);

    void let_go();  // of the session, the lock kept: where other tasks must not run
    void let_others_run_and_let_go();
    void dispatch_events();  // collects, and calls unless a call is under way
    void collect_events();   // from the queue into values
    void call_callbacks();
    void call_for(const call& next);

    template <typename ASK>
    auto ask(ASK question) -> decltype(question(std::declval<deckbus::state&>()));

    std::shared_ptr<deckbus::session> session;       // null while closed
    std::shared_ptr<deckbus::event_queue> listener;  // ours in the session
    std::string last_error;                          // of a failed replay()
    std::deque<tvrvar_shared> script_events;         // what events() gives, oldest first
    bool events_polled = false;                      // from the first call of events()
    deckbus::event_callback on_beat_task, on_cue_task, on_event_task;
    deckbus::open_calls open_calls;
    std::deque<call> uncalled;  // collected, for the callbacks; at most deckbus::max_events
    bool calling = false;       // somebody further down the stack works through `uncalled`
};
