// std.file: files, as the interpreter's file system layer has them. May block on the disk.

#include "runtime/filesys/filesys.h"
#include "runtime/object/namespaces.h"
#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "stdobj/arguments.h"
#include "stdobj/core_namespaces.h"

namespace {

tvrvar_shared read_text(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const auto path = tvr_arguments("std.file.read", args).text(0, "path");
    std::string bytes;
    if (!path || !tvr_filesys_local().read(*path, bytes)) return {};
    tvrvar_shared text = tvrvar_shared::make();
    text->as_string(std::move(bytes));
    return text;
}

tvrvar_shared read_buffer(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const auto path = tvr_arguments("std.file.read_buffer", args).text(0, "path");
    std::string bytes;
    if (!path || !tvr_filesys_local().read(*path, bytes)) return {};
    tvrvar_shared buffer = tvrvar_shared::make();
    buffer->as_binary(bytes);
    return buffer;
}

tvrvar_shared write_file(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("std.file.write", args);
    const auto path = given.text(0, "path");
    if (!path) return {};
    const tvrvar_shared data = given.value(1);
    if (data->type == tvrvar_type_string) {
        return tvr_filesys_local().write(*path, data->string_view());
    }
    auto* buffer = data->object<tvr_std_buffer>();
    if (buffer == nullptr) {
        given.refuse(1, "data", "a string or a buffer");
        return {};
    }
    if (!buffer->readable()) return {};
    return tvr_filesys_local().write(
        *path, {reinterpret_cast<const char*>(buffer->bytes.data()), buffer->bytes.size()});
}

tvrvar_shared path_exists(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const auto path = tvr_arguments("std.file.exists", args).text(0, "path");
    return path ? tvrvar_shared(tvr_filesys_local().exists(*path)) : tvrvar_shared();
}

tvrvar_shared list_folder(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const auto path = tvr_arguments("std.file.list", args).text(0, "path");
    if (!path) return {};
    tvrvar_shared names = tvrvar_shared::make();
    tvr_std_json& json = names->as_json(true);
    for (const std::string& name : tvr_filesys_local().list(*path, false)) json.push_back(name);
    return names;
}

tvrvar_shared make_folder(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const auto path = tvr_arguments("std.file.mkdir", args).text(0, "path");
    return path ? tvrvar_shared(tvr_filesys_local().mkdir(*path)) : tvrvar_shared();
}

tvrvar_shared remove_path(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const auto path = tvr_arguments("std.file.remove", args).text(0, "path");
    return path ? tvrvar_shared(tvr_filesys_local().remove(*path)) : tvrvar_shared();
}

}  // namespace

void tvr_fill_std_file(tvr_namespace& file) {
    const char* path = "path: string";
    file.description = "Files.";
    file.add_function("read", read_text, 1, 1,
                      {.description = "A file's bytes as string, None when it cannot be read.",
                       .params = {path}});
    file.add_function("read_buffer", read_buffer, 1, 1,
                      {.description = "A file's bytes as buffer, None when it cannot be read.",
                       .params = {path},
                       .returns_class = "std.buffer"});
    file.add_function("write", write_file, 2, 2,
                      {.description = "Replaces a file's content. 1 when it has been written.",
                       .params = {path, "data: string - or a std.buffer"}});
    file.add_function("exists", path_exists, 1, 1,
                      {.description = "1 for a file or folder that is there.", .params = {path}});
    file.add_function("list", list_folder, 1, 1,
                      {.description = "The paths of what stands in a folder, sorted; an empty list "
                                      "for one that cannot be read.",
                       .params = {path},
                       .returns_class = "std.json"});
    file.add_function("mkdir", make_folder, 1, 1,
                      {.description = "Makes a folder, with those above it. 1 if it stands then.",
                       .params = {path}});
    file.add_function("remove", remove_path, 1, 1,
                      {.description = "Removes a file or an empty folder. 1 when it has gone.",
                       .params = {path}});
}
