#include "runtime/payload/kernel_memory.h"

#include <utility>

#include "base/join.h"
#include "runtime/object/object.h"

tvr_kernel_memory* tvr_find_kernel_memory(tvrvar& value) {
    if (value.type != tvrvar_type_binary && value.type != tvrvar_type_object) return nullptr;
    tvrobject_base* object = value.object_ptr();
    if (object == nullptr) return nullptr;
    return static_cast<tvr_kernel_memory*>(
        object->query_interface(tvr_typeid<tvr_kernel_memory>()));
}

std::string tvr_kernel_memory_in_use(const tvrobject_base& object) {
    return tvr_join(object.script_type_name(),
                    " is in use by a running kernel launch (call wait() on the launch first)");
}

tvr_kernel_memory_ref::tvr_kernel_memory_ref(tvrobject_base& object, tvr_kernel_memory& memory,
                                             bool writes)
    : owner(&object), lock(writes ? &memory.write_locks : &memory.read_locks) {
    lock->fetch_add(1, std::memory_order_relaxed);
}

tvr_kernel_memory_ref::tvr_kernel_memory_ref(tvr_kernel_memory_ref&& other) noexcept
    : owner(std::move(other.owner)), lock(std::exchange(other.lock, nullptr)) {}

tvr_kernel_memory_ref::~tvr_kernel_memory_ref() {
    if (lock != nullptr) lock->fetch_sub(1, std::memory_order_release);
}
