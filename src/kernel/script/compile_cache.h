#pragma once

// Compiled kernel sources, kept by the process: a script that is loaded again compiles nothing.
//
// Locking: the cache has a mutex of its own, under which nothing is compiled. Any thread.

#include <memory>
#include <string>

#include "kernel/compile.h"

inline constexpr size_t tvr_max_cached_kernel_units = 1024;

// The unit of a source; null with `error` filled if the source is wrong. Equal are sources with
// the same text, file name and imports. When the cache is full, units that nobody uses go.
std::shared_ptr<const tvrk_unit> tvr_kernel_compile_cached(const std::string& source,
                                                           const std::string& file,
                                                           const tvrk_imports& imports,
                                                           tvrk_compile_error& error);

// "kernel compile error at show.tvio:3:9: unknown name 'x'".
std::string tvr_kernel_error_text(const tvrk_compile_error& error);

// The line of the source that the error speaks of, #line directives counted; empty for none.
std::string tvr_kernel_error_line(const std::string& source, const std::string& file,
                                  const tvrk_compile_error& error);
