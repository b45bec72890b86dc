#pragma once

// Where slots look for ahead-of-time code. Thread: any.

#include <cstdint>

#include "kernel/aot.h"

// Null if nobody registered this hash.
tvrk_native_function tvrk_aot_find(uint64_t hash);
