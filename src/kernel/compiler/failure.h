#pragma once

// How the first error leaves the compiler: thrown inside it, caught in tvrk_compile().

#include <utility>

#include "kernel/compile.h"

struct tvrk_compile_failure {
    tvrk_compile_error error;
};
