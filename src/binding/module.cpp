// The module's face: the namespace "deckbus" for scripts, two functions for the program that loads
// the library.

#include "binding/device.h"
#include "binding/script_value.h"
#include "deck/serial_port.h"
#include "net/relay/relay.h"
#include "runtime/log/log.h"
#include "runtime/object/namespaces.h"
#include "runtime/script/global.h"

namespace {

using deckbus::json;

tvrvar_shared ports(tvrobject_base*, tvr_vm_context&, tvr_native_args&) {
    json list = json::array();
    for (const deckbus::serial_port::entry& port : deckbus::serial_port::list()) {
        list.push_back({{"port", port.path},
                        {"description", port.description},
                        {"vid", port.vid},
                        {"pid", port.pid},
                        {"esp", port.vid == deckbus::bridge_vid}});
    }
    return deckbus::to_var(list);
}

// The first call brings up the node, and finds nothing yet.
tvrvar_shared take_net_audio(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    deckbus::net::start();
    const bool with_values = args.empty() || !args[0]->compare_zero();
    const double now = deckbus::now_s();
    return deckbus::audio_list(deckbus::session::take_network_audio(), now, with_values);
}

tvrvar_shared net_relay(tvrobject_base*, tvr_vm_context&, tvr_native_args&) {
    return deckbus::net::relay_name();
}

void fill(tvr_namespace& space) {
    space.add_class<tvr_deckbus>(
        "device", 0, 0,
        {.description = "A connection to the decks.", .returns_class = "deckbus.device"});
    tvr_log().verbose("class: ", tvr_deckbus::metadata_of_class().name);
    space.description = "CDJ data (Pro DJ Link) from the deckbus-bridge ESP32 over USB";
    space.add_function("ports", ports, 0, 0,
                       {.description = "Serial ports with USB ids; esp = true for the CH343P of "
                                       "the ESP32-P4 boards."});
    space.add_function(
        "take_net_audio", take_net_audio, 0, 1,
        {.description = "Audio a relay ESP32 sent over TavroNet (\"deckbus_pcm\") since the last "
                        "call, at most ~2 s: list of [rate, seq, source (1 listener behind the "
                        "relay, 2 relay), us, ageMs, samples, data, values] as with take_audio.",
         .params = {"values: bool - also return the samples as a float list (default true)"}});
    space.add_function("net_relay", net_relay, 0, 0,
                       {.description = "Name of the relay ESP32 that sent the last lines over "
                                       "TavroNet, empty if none yet."});
}

// Registers itself when the library is loaded.
const tvr_function_module main_namespace("deckbus", fill);

}  // namespace

extern "C" const tvr_module_record* tavroglue_check() {
    static constexpr tvr_module_record record;
    return &record;
}

extern "C" tvr_global_instance* tavroglue_entry() {
    return &tvr_global();
}
