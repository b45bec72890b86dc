#pragma once

// Compile sessions: from a source to a program, with a cache of files that have not changed.
//
// Belongs to its interpreter's thread. May block on files.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "frontend/program/program_block.h"
#include "runtime/memory/pointer.h"

class tvr_ast;
class tvrscript;

class tvr_compiler {
public:
    explicit tvr_compiler(tvrscript& owner) : script(owner) {}

    // Null after an error, which has been reported.
    tvrptr_strong<tvr_program_block_root> create_program_from_source(std::string text,
                                                                     const std::string& name);
    // The cached program while none of its files has changed.
    tvrptr_strong<tvr_program_block_root> create_program_from_file(const std::string& path);
    tvrptr_strong<tvr_program_block_root> create_program_from_ast(std::shared_ptr<tvr_ast> ast);
    std::vector<uint8_t> create_binary(tvr_program_block_root& block);

private:
    struct source_file {
        std::string path;
        int64_t modified_ns;
    };
    struct cached_program {
        tvrptr_strong<tvr_program_block_root> root;
        std::vector<source_file> files;  // of the compile unit
    };

    std::string program_cache_key(const std::string& path) const;
    bool unchanged(const cached_program& program) const;

    tvrscript& script;
    std::map<std::string, cached_program> cache;
};
