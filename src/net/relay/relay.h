#pragma once

// The way to a relay on the network: one node for the whole process, and the network session that
// it feeds.
//
// A relay is chosen by what it does: whoever sends lines is the relay, and commands go to the one
// that sent the last. docs/tavronet.md tells what is said.
//
// Threads: the node runs on a thread of its own that is never stopped, because scripts and their
// sessions come and go while the peers should stay; so all that it touches lives for ever. The
// functions here may be called from any thread.

#include <atomic>
#include <cstdint>
#include <string>

#include "base/sync.h"

namespace deckbus::net {

inline constexpr char node_name[] = "Lumora-deckbus";
inline constexpr int first_port = 6454, last_port = 6554;
inline constexpr double retry_s = 10.0;  // after all ports were taken

// Begins the node's thread, once. Does nothing while one runs, and for ten seconds after there was
// no port or no thread to be had. With `tell` the socket's addresses and buffers go to standard
// error.
void start(bool tell = true);

bool started();

// The relay that sent the last line; empty before the first.
std::string relay_name();

// What the node's thread shares with all others.
struct relay_state {
    std::atomic<bool> running{false};                         // a network thread is up
    std::atomic<double> retry_time{0};                        // s; before this start() does nothing
    std::atomic<uint32_t> audio_packets{0}, line_packets{0};  // the node's thread counts

    tvr_mutex relay_mutex;
    std::string relay_name TVR_GUARDED_BY(relay_mutex);  // the node's thread writes
};

// Of this process. Made at first use, never destroyed.
relay_state& relay_of_process();

}  // namespace deckbus::net
