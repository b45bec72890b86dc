#pragma once

// The history with wall-clock times, and as a file for people: CSV or plain text.
//
// Called with the JSON that was taken under the session's mutex, and without that mutex, since a
// disk may be slow. Thread: any.

#include <ctime>
#include <string>
#include <string_view>

#include "track/json.h"

namespace deckbus {

// state::history_json as scripts see it: a list, oldest first, with "time" ("HH:MM", local) and
// "epoch" (s since 1970) in place of the steady "t". `wall` is the present time.
json history_list(const json& history, std::time_t wall);

// The list as text in "csv" or "txt" form; any other word means "csv".
std::string history_text(const json& list, std::string_view format);

// Writes the list into <home>/Documents/deckbus-history/, named by local time. The path, or
// empty when it could not be written. An empty home means the present folder.
std::string save_history(const json& list, std::string_view format, const std::string& home,
                         std::time_t wall);

}  // namespace deckbus
