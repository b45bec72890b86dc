#pragma once

// Kernels as C text: what the prelude says once, and what each program becomes.

#include <cstdint>
#include <string>
#include <string_view>

#include "kernel/program.h"

// The generator's version; a new one makes new hashes and new cache files.
inline constexpr std::string_view tvrk_c_version = "tvrk-jit-1";

// Types, helpers and traps, verbatim at the head of every file.
std::string_view tvrk_c_prelude();

// One function; `head` is all that stands before its parameters. Throws std::runtime_error for an
// instruction that has no translation.
std::string tvrk_c_function(const tvrk_program& program, std::string_view head);

// FNV-1a steps from a start value of our own.
uint64_t tvrk_c_hash(std::string_view text);
