#pragma once

// Where a reduction starts, and how it takes in the next contribution. Thread: any.

#include "kernel/program.h"

// The value that changes nothing: 0 for +, the largest value for min, all ones for &.
tvrk_reg tvrk_reduce_identity(tvrk_reduce reduce, tvrk_prim prim);

// `a` is the running value, `b` the new one. Float min is `b < a ? b : a`: a NaN in b is dropped.
tvrk_reg tvrk_reduce_combine(tvrk_reduce reduce, tvrk_prim prim, tvrk_reg a, tvrk_reg b);

// Takes in `count` values in their order.
tvrk_reg tvrk_reduce_fold(tvrk_reduce reduce, tvrk_prim prim, tvrk_reg a, const tvrk_reg* values,
                          size_t count);
