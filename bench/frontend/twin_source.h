#pragma once

// The same program in two languages, for a fair race between their front ends.
//
// Functions, classes or tables, loops, conditions, lists, maps, strings and comments in the
// mixture of hand-written scripts. The same number of functions gives the same texts everywhere.

#include <cstddef>
#include <string>

struct twin_source {
    std::string tavro;
    std::string lua;
};

// Writes functions until the TavroScript text has at least so many bytes.
twin_source write_twins(size_t bytes);
