#include "runtime/script/config.h"

#include "runtime/log/log.h"

namespace {

const char* loaded(const void* part) {
    return part != nullptr ? "Loaded" : "None";
}

const char* enabled(bool on) {
    return on ? "Enabled" : "Disabled";
}

}  // namespace

void tvrscript_config_default::print() const {
    std::string text = "\n=== Script Configuration ===\n\n";
    const auto line = [&](const char* label, const auto& value) {
        text += tvr_join(label, value, "\n");
    };
    line("Ver:               ", version);
    line("Name:              ", name);
    line("File System:       ", loaded(filesys));
    line("Log System:        ", loaded(log));
    if (max_call_depth == 0) {
        line("Max Call Depth:    ", "unlimited");
    } else {
        line("Max Call Depth:    ", max_call_depth);
    }
    line("Strict Mode:       ", enabled(strict_mode));
    line("Strict Errors:     ", enabled(strict_errors));
    text += "\n--- Access Control ---\n";
    line("Restricted Mode:   ", enabled(restricted_mode));
    text += "Allowed Namespaces:\n";
    if (allowed_namespaces.empty()) text += "  (none)\n";
    for (const std::string& allowed : allowed_namespaces) line("  ", allowed);
    text += "==========================\n";
    tvr_log().log(text);
}
