#include "runtime/script/compiler.h"

#include <utility>

#include "frontend/builder/builder.h"
#include "frontend/strict/strict_check.h"
#include "frontend/syntax/lexer.h"
#include "frontend/syntax/source_files.h"
#include "kernel/script/kernel_extract.h"
#include "runtime/filesys/filesys.h"
#include "runtime/local/global_lock.h"
#include "runtime/log/log.h"
#include "runtime/script/script.h"

namespace {

std::vector<std::string> folders_for(const std::string& file) {
    if (file.empty() || file == tvr_memory_path) return {};
    return {tvr_absolute_folder_of(file)};
}

}  // namespace

tvrptr_strong<tvr_program_block_root> tvr_compiler::build(std::shared_ptr<const tvr_ast> ast,
                                                          tvr_syntax_report& report,
                                                          const tvrk_unit* kernels) {
    tvrptr_strong<tvr_program_block_root> program;
    tvr_package_imports imports(script);
    if (ast != nullptr && tvr_strict_check(script, *ast, imports, kernels))
        program = tvr_asm_builder(script, std::move(ast), imports, report).create_program();
    if (!program) script.log().err("Cannot create program.");
    return program;
}

tvrptr_strong<tvr_program_block_root> tvr_compiler::create_program_from_source(
    std::string text, const std::string& name) {
    const tvr_global_lock hold(&script.lock);
    const tvr_filesys::search_path_scope beside(script.file_sys(), folders_for(name));
    tvr_kernel_extract kernels;
    tvr_lexer lexer(&kernels);
    std::shared_ptr<const tvr_ast> ast = lexer.load_source(std::move(text), name);
    auto program = build(std::move(ast), lexer.report, kernels.unit.get());
    if (program) program->kernels = std::move(kernels.unit);
    return program;
}

tvrptr_strong<tvr_program_block_root> tvr_compiler::create_program_from_file(
    const std::string& path) {
    const tvr_global_lock hold(&script.lock);
    const std::string file = tvr_lexer::find_source(path);
    std::string text;
    if (file.empty() || !script.file_sys().read(file, text)) {
        script.log().err("Cannot create program.");
        return {};
    }
    const std::string key = program_cache_key(file);
    const auto known = cache.find(key);
    if (known != cache.end() && unchanged(known->second)) return known->second.root;

    cached_program made;
    made.root = create_program_from_source(std::move(text), file);
    if (!made.root || made.root->ast == nullptr) {
        cache.erase(key);
        return made.root;
    }
    note_files(made.root->ast->token_view(), made.files);
    cache[key] = made;
    return made.root;
}

tvrptr_strong<tvr_program_block_root> tvr_compiler::create_program_from_ast(
    std::shared_ptr<tvr_ast> ast) {
    const tvr_global_lock hold(&script.lock);
    tvr_syntax_report report;
    return build(std::move(ast), report, nullptr);
}

std::vector<uint8_t> tvr_compiler::create_binary(tvr_program_block_root& block) {
    const tvr_global_lock hold(&script.lock);
    return block.create_binary();
}

std::string tvr_compiler::program_cache_key(const std::string& path) const {
    return tvr_unique_path(path);
}

// A time is good only if the file still had this text after it was asked for: else it changed
// while it was compiled, and its text has to be looked at.
void tvr_compiler::note_files(const tvr_src_token_view& view,
                              std::vector<source_file>& files) const {
    source_file file{view.path, script.file_sys().modified_ns(view.path), &view.source};
    if (!view.made_for) {
        if (!has_text(file)) file.modified_ns = 0;
        files.push_back(std::move(file));
    }
    for (const auto& included : view.included) note_files(*included, files);
}

bool tvr_compiler::has_text(const source_file& file) const {
    std::string text;
    return script.file_sys().read(file.path, text) && text == *file.source;
}

bool tvr_compiler::unchanged(const source_file& file) const {
    const int64_t now_ns = script.file_sys().modified_ns(file.path);
    if (now_ns != 0 && file.modified_ns != 0) return now_ns == file.modified_ns;
    return has_text(file);
}

bool tvr_compiler::unchanged(const cached_program& program) const {
    for (const source_file& file : program.files) {
        if (unchanged(file)) continue;
        script.log().log("Included file changed, recompiling: ", file.path);
        return false;
    }
    return true;
}
