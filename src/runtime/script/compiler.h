#pragma once

// Compile sessions: from a source to a program, with a cache of files that have not changed.
//
// Takes the global lock. May block on files.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "frontend/program/program_block.h"
#include "runtime/memory/pointer.h"

class tvr_ast;
class tvr_src_token_view;
class tvr_syntax_report;
class tvrscript;
struct tvrk_unit;

class tvr_compiler {
public:
    explicit tvr_compiler(tvrscript& owner) : script(owner) {}

    // Null after an error, which has been reported. The name is that of the file which the text
    // comes from, whose folder is searched first then.
    tvrptr_strong<tvr_program_block_root> create_program_from_source(std::string text,
                                                                     const std::string& name);
    // The cached program while none of its files has changed.
    tvrptr_strong<tvr_program_block_root> create_program_from_file(const std::string& path);
    tvrptr_strong<tvr_program_block_root> create_program_from_ast(std::shared_ptr<tvr_ast> ast);
    std::vector<uint8_t> create_binary(tvr_program_block_root& block);

private:
    // A file of a compile unit as it was when the unit was compiled.
    struct source_file {
        std::string path;
        int64_t modified_ns;        // 0 when that is not known: then the text decides
        const std::string* source;  // in the program's tree
    };
    struct cached_program {
        tvrptr_strong<tvr_program_block_root> root;
        std::vector<source_file> files;
    };

    tvrptr_strong<tvr_program_block_root> build(std::shared_ptr<const tvr_ast> ast,
                                                tvr_syntax_report& report,
                                                const tvrk_unit* kernels);
    std::string program_cache_key(const std::string& path) const;
    bool unchanged(const cached_program& program) const;
    bool unchanged(const source_file& file) const;
    bool has_text(const source_file& file) const;
    void note_files(const tvr_src_token_view& view, std::vector<source_file>& files) const;

    tvrscript& script;
    std::map<std::string, cached_program> cache;
};
