// Any bytes as kernel source: one message, or programs that pass the verifier and print as C.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "kernel/compile.h"
#include "kernel/jit.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tvrk_compile_error error;
    const std::string_view source(reinterpret_cast<const char*>(data), size);
    const auto unit = tvrk_compile(source, "fuzz", error);
    if (unit == nullptr) {
        if (error.message.empty() || error.line == 0) std::abort();
        return 0;
    }
    for (const tvrk_kernel& kernel : unit->kernels) {
        if (!tvrk_verify(*kernel.program).empty()) std::abort();
        if (kernel.program->disassemble().empty()) std::abort();
        if (tvrk_jit_source(*kernel.program).empty()) std::abort();
    }
    return 0;
}
