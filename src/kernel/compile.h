#pragma once

// From kernel source to a unit: one pass over the tokens that checks types and emits code, then
// the optimiser. The first error ends it. Thread: any; nothing is shared.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/unit.h"

struct tvrk_compile_error {
    std::string file;
    uint32_t line = 0, column = 0;  // from 1
    std::string message;
};

using tvrk_imports = std::vector<std::shared_ptr<const tvrk_unit>>;

// Null with `error` filled if the source is wrong. Structs, constants and helpers of the imports
// are visible to the source.
std::shared_ptr<const tvrk_unit> tvrk_compile(std::string_view source, const std::string& file,
                                              tvrk_compile_error& error,
                                              const tvrk_imports& imports = {});
