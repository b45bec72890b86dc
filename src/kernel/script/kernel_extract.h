#pragma once

// Kernel declarations of a script file, on their way to the kernel compiler.
//
// The front end cuts them out of the tokens (frontend/syntax/declarations.h) and hands them over
// here. Their texts are put together, each behind a #line directive and as far to the right as it
// stands in its file, so that errors and traps name true places, and compiled at once: a wrong
// kernel stops the load of the file. In front of the script's own statements come some that fetch
// the unit from the cache and give each kernel, struct and constant its name:
//
//     __tvr_kernel_unit = std.kernel_compile("...", "show.tvio");
//     glow = __tvr_kernel_unit.get("glow");
//
// One for each compile; thread of the compile.

#include <memory>
#include <string_view>

#include "frontend/source/declaration_hook.h"

struct tvrk_compile_error;
struct tvrk_unit;

inline constexpr std::string_view tvr_kernel_unit_name = "__tvr_kernel_unit";

class tvr_kernel_extract : public tvr_declaration_hook {
public:
    void take(const std::vector<tvr_declaration>& declarations,
              std::vector<tvr_declared_statement>& statements, std::string& error,
              const tvr_src_token*& place) override;

    std::shared_ptr<const tvrk_unit> unit;  // of the declarations; null before, and for none

private:
    const tvr_src_token* find_place(const std::vector<tvr_declaration>& declarations,
                                    const tvrk_compile_error& wrong);

    tvr_src_token found_place;  // of the error that take() reported
};
