#pragma once

// A short recording in a file of its own, removed at the end.

#include <string>

#include "../support/scratch.h"

namespace monitor::test {

// One deck and a mixer; the deck loads a track and plays two beats.
inline constexpr const char* small_set_lines =
    R"({"t":"hello","fw":"0.4.2","board":"bridge","us":1000}
{"t":"dev","n":2,"on":true,"name":"PLAYER","type":1,"us":2000}
{"t":"dev","n":33,"on":true,"name":"MIXER","type":2,"us":3000}
{"t":"trk","n":2,"id":"2:3:7","meta":true,"us":4000}
{"t":"meta","id":"2:3:7","title":"Night \u001b[2JBus","artist":"Nobody","key":"Am","dur":90,"us":5000}
{"t":"metaok","id":"2:3:7","us":6000}
{"t":"st","n":2,"bpm":120,"pitch":5,"play":true,"air":true,"sync":true,"master":true,"beat":1,"bb":1,"cue":-1,"us":7000}
{"t":"beat","n":2,"bpm":120,"pitch":5,"bb":1,"beat":1,"cue":2,"air":true,"master":true,"us":8000}
{"t":"beat","n":2,"bpm":120,"pitch":5,"bb":2,"beat":2,"cue":1,"air":true,"master":true,"us":9000}
{"t":"pos","n":2,"ms":30000,"len":90,"us":9500}
)";

class small_set {
public:
    explicit small_set(const std::string& lines = small_set_lines)
        : path(folder.add("set.jsonl", lines)) {}

private:
    const test_support::scratch folder;

public:
    const std::string path;
};

}  // namespace monitor::test
