#pragma once

// Documentation records as JSON: what `tavro docs` and std.docs() show.
//
// Keys keep their order. For sources only, since the JSON library takes seconds to parse.

#include <nlohmann/json.hpp>
#include <string>

#include "runtime/object/function_def.h"

using tvr_docs_record = nlohmann::ordered_json;

// The record of a function with what is documented below it.
tvr_docs_record tvr_docs_of(const tvr_function_def& function);

// One line; what is no UTF-8 is replaced.
std::string tvr_docs_text(const tvr_docs_record& record);
