// Script text: whatever it is, it gives a tree that can be walked or exactly one error with a place
// inside its text, and escapes can be undone. Included files are the text itself from some place
// on.

#include <cstdlib>
#include <string>

#include "frontend/syntax/lexer.h"
#include "frontend/syntax/string_escape.h"
#include "kernel/script/kernel_extract.h"
#include "runtime/filesys/filesys.h"
#include "runtime/local/thread_local.h"
#include "runtime/log/log.h"

namespace {

void demand(bool holds) {
    if (!holds) std::abort();
}

class echo_files : public tvr_filesys {
public:
    bool read(const std::string& path, std::string& out) override {
        size_t sum = 0;
        for (const char c : path) sum = sum * 31 + uint8_t(c);
        out = text.substr(sum % (text.size() + 1));
        return true;
    }
    bool exists(const std::string& path) override { return path.find('!') == std::string::npos; }

    std::string text;
};

class counting_log : public tvr_log_base {
public:
    void on_error(std::string_view text) override { reports += text.starts_with("*** Syntax"); }

    size_t reports = 0;
};

// Makes a statement of each kernel declaration, sometimes a broken one.
class echo_hook : public tvr_declaration_hook {
public:
    void take(const std::vector<tvr_declaration>& declarations,
              std::vector<tvr_declared_statement>& statements, std::string& error,
              const tvr_src_token*&) override {
        for (const tvr_declaration& declaration : declarations) {
            demand(declaration.text.starts_with("kernel"));
            statements.push_back(
                {tvr_join("taken = \"", tvr_escape_string(declaration.text), "\";"),
                 &declaration.start});
            if (declaration.name.text() == "refused") error = "refused";
            if (declaration.name.text() == "broken") statements.back().text += "(";
        }
    }
};

void compile(const std::string& text, tvr_declaration_hook* hook) {
    counting_log log;
    log.mask = tvr_log_base::level_log | tvr_log_base::level_verbose;
    tvr_local().log = &log;
    tvr_lexer lexer(hook);
    const auto tree = lexer.load_source(text, "fuzz.tvio");
    tvr_local().log = nullptr;
    demand((tree == nullptr) == lexer.report.failed());
    demand(log.reports == (tree == nullptr ? 1 : 0));
    if (tree == nullptr) {
        const tvr_syntax_finding& error = lexer.report.first_error();
        demand(!error.message.empty() && !error.path.empty());
        demand(error.line >= 1 && error.column >= 1);
    } else {
        demand(tree->print().empty() == tree->roots.empty());
        for (const tvr_ast_node* node : tree->roots)
            demand(node->start != nullptr && node->start->view() != nullptr);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    echo_files files;
    files.text = text;
    tvr_local().filesys = &files;
    compile(text, nullptr);
    echo_hook hook;
    compile(text, &hook);
    tvr_kernel_extract kernels;
    compile(text, &kernels);
    tvr_local().filesys = nullptr;
    demand(tvr_unescape_string(tvr_escape_string(text)) == text);
    return 0;
}
