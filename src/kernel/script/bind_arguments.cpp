#include "kernel/script/bind_arguments.h"

#include <cstring>

#include "base/join.h"
#include "kernel/script/launch_state.h"
#include "kernel/script/struct_values.h"
#include "runtime/object/object.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_json_bool.h"
#include "runtime/payload/std_string.h"
#include "runtime/value/plain_value.h"

namespace {

constexpr uint64_t most_invocations = 4294967295;

// What was written as an element of this type, as a register holds it.
tvrk_reg canonical(tvrk_prim prim, const uint8_t* bytes) {
    tvrk_reg reg{};
    std::memcpy(&reg, bytes, sizeof reg);
    if (!tvrk_is_signed(prim)) return reg;
    const int unused = int(8 * (sizeof reg - tvrk_prim_size(prim)));
    reg.i = int64_t(reg.u << unused) >> unused;
    return reg;
}

bool bind_bool(tvrvar& value, tvrk_reg& reg, std::string& error) {
    auto* truth = value.object<tvr_std_json_bool>();
    const bool is_bit = value.type == tvrvar_type_int && uint64_t(value.integer) <= 1;
    if (truth == nullptr && !is_bit) {
        error = "expects bool (true / false) but got " + tvr_kernel_type_word(value);
        return false;
    }
    reg.u = truth != nullptr ? truth->truth() : uint64_t(value.integer);
    return true;
}

bool bind_scalar(tvrk_prim prim, tvrvar& value, tvrk_reg& reg, std::string& error) {
    if (prim == tvrk_prim::boolean) return bind_bool(value, reg, error);
    uint8_t bytes[sizeof reg] = {};
    if (!tvr_write_kernel_number(bytes, prim, value, error)) return false;
    reg = canonical(prim, bytes);
    return true;
}

bool refuse(std::string& error, std::string reason) {
    error = std::move(reason);
    return false;
}

// A copy, for scripts may change the string while the kernel reads.
bool bind_string(tvr_kernel_launch_state& state, const tvrk_type& type, tvrvar& value,
                 tvr_kernel_bytes& bytes, std::string& error) {
    if (!type.is_const) {
        return refuse(error,
                      "strings are read only, declare the parameter as const (const u8*) or use a "
                      "std.buffer");
    }
    if (value.object_ptr() == nullptr) return refuse(error, "invalid string");
    std::string& text = state.texts.emplace_front(value.string_view());
    bytes = {reinterpret_cast<uint8_t*>(text.data()), text.size(), false};
    return true;
}

bool bind_memory(tvr_kernel_launch_state& state, const tvrk_type& type, tvrvar& value,
                 tvr_kernel_bytes& bytes, std::string& error) {
    tvr_kernel_memory* memory = tvr_find_kernel_memory(value);
    if (memory == nullptr) {
        return refuse(error, "expects a std.buffer but got " + tvr_kernel_type_word(value));
    }
    tvrobject_base& object = *value.object_ptr();
    const bool writes = !type.is_const;
    if (writes ? memory->locked_for_writing() : memory->locked_for_reading()) {
        return refuse(error, tvr_join("the ", object.script_type_name(),
                                      " is already used by another running kernel launch"));
    }
    bytes = memory->kernel_bytes();
    if (writes && !bytes.writable) {
        return refuse(error, tvr_join("the memory of ", object.script_type_name(),
                                      " is not writable (declare the parameter as const)"));
    }
    state.memory.emplace_back(object, *memory, writes);
    return true;
}

bool bind_pointer(tvr_kernel_launch_state& state, const tvrk_param& param, tvrvar& value,
                  std::string& error) {
    tvr_kernel_bytes bytes;
    const bool bound = value.type == tvrvar_type_string
                           ? bind_string(state, param.type, value, bytes, error)
                           : bind_memory(state, param.type, value, bytes, error);
    if (!bound) return false;
    const uint64_t stride = param.type.element().size();
    state.launch->ptrs[param.ptr] = {bytes.base, bytes.count / stride, stride, bytes.count};
    return true;
}

bool read_int(tvrvar& variable, int64_t& number) {
    const tvr_plain_value value(variable);
    number = value->type == tvrvar_type_int ? value->integer : 0;
    return value->type == tvrvar_type_int;
}

std::string list_of(const std::vector<tvrk_param>& params) {
    std::string list;
    for (const tvrk_param& param : params) {
        if (!list.empty()) list += ", ";
        list += tvr_join(param.type_name, ' ', param.name);
    }
    return list;
}

}  // namespace

std::string tvr_kernel_type_word(tvrvar& value) {
    if (value.type == tvrvar_type_none) return "None";
    const bool is_named = value.type == tvrvar_type_object || value.type == tvrvar_type_binary;
    const tvrobject_base* object = is_named ? value.object_ptr() : nullptr;
    return std::string(object != nullptr ? object->script_type_name()
                                         : tvrvar_type_name(value.type));
}

bool tvr_read_kernel_domain(tvrvar& given, tvr_kernel_domain& domain, std::string& error) {
    const tvr_plain_value value(given);
    int64_t width = 0, height = 1;
    auto* list = value->object<tvr_std_json>();
    domain.two_dimensional = list != nullptr && list->is_list() && list->size() == 2;
    const bool are_ints = domain.two_dimensional ? read_int(*list->entries[0].value, width) &&
                                                       read_int(*list->entries[1].value, height)
                                                 : read_int(*value, width);
    if (!are_ints) {
        return refuse(error, ": the domain must be an int or [width, height] but got " +
                                 tvr_kernel_type_word(*value));
    }
    if (width < 0 || height < 0) return refuse(error, ": the domain must not be negative");
    domain.width = uint64_t(width);
    domain.height = uint64_t(height);
    if (domain.height != 0 && domain.width > most_invocations / domain.height) {
        return refuse(error, tvr_join(": the domain is too large (at most ", most_invocations,
                                      " invocations)"));
    }
    return true;
}

bool tvr_bind_kernel_arguments(tvr_kernel_launch_state& state, const tvr_native_args& args,
                               std::string& error) {
    const std::vector<tvrk_param>& params = state.launch->program->params;
    if (args.size() - 1 != params.size()) {
        return refuse(
            error, tvr_join(" expects ", params.size(), " argument", params.size() == 1 ? "" : "s",
                            " (", list_of(params), ") after the domain but got ", args.size() - 1));
    }
    state.memory.reserve(params.size());
    for (size_t i = 0; i < params.size(); ++i) {
        const tvrk_param& param = params[i];
        const tvr_plain_value value(*args[i + 1]);
        std::string reason;
        const bool bound = param.is_pointer ? bind_pointer(state, param, *value, reason)
                                            : bind_scalar(param.type.prim, *value,
                                                          state.launch->regs[param.reg], reason);
        if (bound) continue;
        return refuse(error, tvr_join(": argument ", i + 1, " ('", param.name, "') ", reason));
    }
    return true;
}
