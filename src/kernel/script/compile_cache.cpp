#include "kernel/script/compile_cache.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "base/join.h"
#include "kernel/script/process.h"

namespace {

std::string key_of(const std::string& source, const std::string& file,
                   const tvrk_imports& imports) {
    std::string key = tvr_join(source, '\0', file, '\0');
    // An imported unit stays for as long as one that imports it, and so does its address.
    for (const auto& import : imports) key += tvr_join(uintptr_t(import.get()), ',');
    return key;
}

std::shared_ptr<const tvrk_unit> find_unit(const std::string& key) {
    tvr_kernel_process& process = tvr_the_kernel_process();
    tvr_lock hold(process.mutex);
    const auto found = process.units.find(key);
    return found != process.units.end() ? found->second : nullptr;
}

// Of two threads that compile the same source the first one's unit stays.
std::shared_ptr<const tvrk_unit> keep_unit(std::string key, std::shared_ptr<const tvrk_unit> unit) {
    tvr_kernel_process& process = tvr_the_kernel_process();
    tvr_lock hold(process.mutex);
    if (process.units.size() >= tvr_max_cached_kernel_units) {
        std::erase_if(process.units,
                      [](const auto& entry) { return entry.second.use_count() == 1; });
    }
    return process.units.emplace(std::move(key), std::move(unit)).first->second;
}

// Takes `#line N "file"`; false for any other line.
bool read_line_directive(std::string_view line, std::string& file, uint32_t& number) {
    constexpr std::string_view word = "#line ";
    if (!line.starts_with(word)) return false;
    line.remove_prefix(word.size());
    const auto read = std::from_chars(line.data(), line.data() + line.size(), number);
    if (read.ec != std::errc()) return false;
    const size_t open = line.find('"'), close = line.rfind('"');
    if (open != close) file = line.substr(open + 1, close - open - 1);
    return true;
}

}  // namespace

std::shared_ptr<const tvrk_unit> tvr_kernel_compile_cached(const std::string& source,
                                                           const std::string& file,
                                                           const tvrk_imports& imports,
                                                           tvrk_compile_error& error) {
    std::string key = key_of(source, file, imports);
    std::shared_ptr<const tvrk_unit> unit = find_unit(key);
    if (unit != nullptr) return unit;
    unit = tvrk_compile(source, file, error, imports);
    return unit != nullptr ? keep_unit(std::move(key), std::move(unit)) : nullptr;
}

std::string tvr_kernel_error_text(const tvrk_compile_error& error) {
    return tvr_join("kernel compile error at ", error.file, ":", error.line, ":", error.column,
                    ": ", error.message);
}

std::string tvr_kernel_error_line(const std::string& source, const std::string& file,
                                  const tvrk_compile_error& error) {
    std::string_view rest = source;
    std::string at_file = file;
    for (uint32_t line = 1; !rest.empty(); ++line) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        std::string_view text = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (line == error.line && at_file == error.file) {
            if (text.ends_with('\r')) text.remove_suffix(1);
            return std::string(text);
        }
        if (uint32_t next = 0; read_line_directive(text, at_file, next)) line = next - 1;
    }
    return {};
}
