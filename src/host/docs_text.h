#pragma once

// Documentation records as text for people.

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace host {

// The record that std.docs() gives for a path: of a namespace, class, function or variable.
// An empty path is the top level.
std::string docs_text(std::string_view path, const nlohmann::ordered_json& record);

// "sort(list, [less])", as the record of a function has it.
std::string signature_of(std::string_view name, const nlohmann::ordered_json& record);

}  // namespace host
