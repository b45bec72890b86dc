#pragma once

// How strongly operators bind. Thread: any.

#include <string_view>

#include "frontend/source/token_code.h"

// 1 to 7, weakest first; -1: no binary operator. `??` and `?:` bind below all of these.
int get_binary_precedence(tvr_token_code op);

// 20 for a prefix operator; -1: none. `~` is a prefix of its own and not told here.
int get_unary_precedence(tvr_token_code op);

// The operator of a compound form such as `+=`, or the operator itself.
tvr_token_code tvr_plain_operator(tvr_token_code op);

// Any symbol that people read as an operator, in whatever place.
bool tvr_is_operator(tvr_token_code code);
