#include "kernel/compile.h"

#include "kernel/compiler/compiler.h"

std::shared_ptr<const tvrk_unit> tvrk_compile(std::string_view source, const std::string& file,
                                              tvrk_compile_error& error,
                                              const tvrk_imports& imports) {
    try {
        const auto tokens = std::make_shared<tvrk_tokens>();
        tokens->source = source;
        tokens->files.push_back(file);
        tvrk_tokenize(*tokens);
        return tvrk_compiler(tokens, imports).run();
    } catch (tvrk_compile_failure& failure) {
        error = std::move(failure.error);
        return nullptr;
    }
}
