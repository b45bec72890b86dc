#include "kernel/unit.h"

const tvrk_symbol* tvrk_unit::find(std::string_view name) const {
    const auto found = symbols.find(name);
    return found != symbols.end() ? &found->second : nullptr;
}

std::shared_ptr<const tvrk_program> tvrk_unit::find_kernel(std::string_view name) const {
    const tvrk_symbol* found = find(name);
    if (found == nullptr || found->what != tvrk_symbol::kind::kernel) return nullptr;
    return kernels[found->index].program;
}
