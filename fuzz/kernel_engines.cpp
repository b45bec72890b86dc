// Random kernels and random bytecode in every engine: all must agree. The input decides what is
// generated; where it ends, a generator goes on from its hash. Every 200th kernel also becomes
// native code, because a C compiler is slow.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "../tests/kernel/random_bytecode.h"
#include "../tests/kernel/random_kernel.h"

using namespace tavro::test;

namespace {

constexpr uint64_t native_every = 200;

void compare(const tvrk_program& program, const kernel_arguments& given, bool native) {
    const kernel_outcome expected = run_kernel(program, given, interpreters().front());
    std::vector<kernel_engine> engines = interpreters();
    if (native) {
        private_cache();
        tvrk_jit_set_policy(tvrk_jit_policy::sync);
        tvrk_jit_request(nullptr, program, nullptr);
        engines.push_back(native_engine(0));
        engines.push_back(native_engine(3));
    }
    for (const kernel_engine& engine : engines) {
        const std::string wrong = difference(program, expected, run_kernel(program, given, engine));
        if (wrong.empty()) continue;
        std::fprintf(stderr, "%s: %s\n%s", engine.name.c_str(), wrong.c_str(),
                     program.disassemble().c_str());
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static uint64_t runs = 0;
    const bool native = ++runs % native_every == 0;
    uint64_t seed = size;
    for (size_t i = 0; i < size; ++i) seed = (seed ^ data[i]) * 0x100000001b3;
    chance dice(seed, data, size);
    const size_t form = dice.below(3);
    if (form == 2) {
        random_bytecode generator(dice);
        const auto program = generator.program();
        if (!tvrk_verify(*program).empty()) std::abort();
        compare(*program, generator.arguments(300), native);
        return 0;
    }
    const bool safe = form == 0;
    random_kernel generator(dice, safe);
    const std::string source = generator.source();
    tvrk_compile_error error;
    const auto unit = tvrk_compile(source, "fuzz", error);
    if (unit == nullptr) {
        std::fprintf(stderr, "%s\n%s", error.message.c_str(), source.c_str());
        std::abort();
    }
    const uint64_t width = safe ? 1 + dice.below(700) : 1;
    compare(*unit->kernels[0].program, generator.arguments(width, 1), native);
    return 0;
}
