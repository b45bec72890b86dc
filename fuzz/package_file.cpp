// A package.tvr of any bytes: refused with a reason, or written anew and read again as the same.

#include <cstdint>
#include <cstdlib>

#include "runtime/script/package_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tvr_package_file package;
    std::string error;
    if (!package.parse({reinterpret_cast<const char*>(data), size}, error)) {
        if (error.empty()) std::abort();
        return 0;
    }
    std::string text;
    for (const auto& [key, value] : package.values) text += key + " = \"" + value + "\"\n";
    tvr_package_file again;
    if (!again.parse(text, error) || again.values != package.values) std::abort();
    return 0;
}
