#pragma once

// What the samples of a night say: whether something has grown that must not. Pure.

#include <string>
#include <vector>

#include "watched_process.h"

namespace soak {

// Everything that one watched process held, in order of time, and what it held in each moment of
// calm: there all devices are in the same state, so these must be equal but for memory.
struct record {
    std::vector<sample> samples;
    std::vector<sample> calms;
};

struct growth {
    double early_mib = 0;  // median of the second quarter
    double late_mib = 0;   // median of the last
};

// The quarters in time. The first is left out: caches fill, kernels are compiled.
growth memory_growth(const std::vector<sample>& samples);

// What is wrong with a process of this name, a sentence each. Memory is left out where a sanitizer
// keeps freed memory back.
std::vector<std::string> faults_of(const std::string& name, const record& seen, bool judge_memory);

// The middle one of each, in the order of its size.
sample median_of(std::vector<sample> samples);

}  // namespace soak
