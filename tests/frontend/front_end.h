#pragma once

// What the tests of the front end stand on: files in memory and a log that remembers, for the
// calling thread and the length of a scope.

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "frontend/syntax/lexer.h"
#include "runtime/filesys/filesys.h"
#include "runtime/local/thread_local.h"
#include "runtime/log/log.h"

class memory_files : public tvr_filesys {
public:
    bool read(const std::string& path, std::string& out) override {
        out.clear();
        const auto found = texts.find(normal(path));
        if (found == texts.end()) return false;
        out = found->second;
        return true;
    }
    bool exists(const std::string& path) override { return texts.count(normal(path)) > 0; }

    std::map<std::string, std::string> texts;

private:
    static std::string normal(const std::string& path) {
        return std::filesystem::path(path).lexically_normal().string();
    }
};

class memory_log : public tvr_log_base {
public:
    void on_log(std::string_view text) override { lines.emplace_back(text); }
    void on_error(std::string_view text) override { errors.emplace_back(text); }
    void on_warn(std::string_view text) override { warnings.emplace_back(text); }
    void on_verbose(std::string_view text) override { details.emplace_back(text); }

    std::vector<std::string> lines, errors, warnings, details;
};

class front_end {
public:
    front_end() {
        log.mask = tvr_log_base::level_log | tvr_log_base::level_verbose;
        tvr_local().log = &log;
        tvr_local().filesys = &files;
    }
    ~front_end() {
        tvr_local().log = nullptr;
        tvr_local().filesys = nullptr;
    }
    front_end(const front_end&) = delete;
    front_end& operator=(const front_end&) = delete;

    // The printed tree of a text, or "error: " and the message.
    std::string tree(const std::string& text) {
        tvr_lexer lexer;
        const auto ast = lexer.load_source(text);
        finding = lexer.report.first_error();
        return ast != nullptr ? ast->print() : "error: " + finding.message;
    }

    memory_files files;
    memory_log log;
    tvr_syntax_finding finding;  // of the last compile
};
