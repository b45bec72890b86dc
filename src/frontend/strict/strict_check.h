#pragma once

// The strict checker: infers types over the tree and tells what will most likely fail at run time.
//
// It changes no code, and it is silent about what it cannot know. Thread: one compile.

#include <memory>

class tvr_ast;
class tvr_package_imports;
class tvr_strict_checker_impl;
class tvrscript;
struct tvrk_unit;

class tvr_strict_checker {
public:
    // The kernels are those that the tree's files declare; null for none.
    tvr_strict_checker(tvrscript& script, const tvr_ast& ast, tvr_package_imports& imports,
                       const tvrk_unit* kernels);
    ~tvr_strict_checker();
    tvr_strict_checker(const tvr_strict_checker&) = delete;
    tvr_strict_checker& operator=(const tvr_strict_checker&) = delete;

    void infer();
    // Prints each finding in the frame of a syntax warning; how many there were.
    size_t report();

private:
    std::unique_ptr<tvr_strict_checker_impl> impl;
    bool as_errors;  // findings end the compile
};

// Runs the checker where strict mode or the source asks for it. False when there were findings and
// strict errors are on.
bool tvr_strict_check(tvrscript& script, const tvr_ast& ast, tvr_package_imports& imports,
                      const tvrk_unit* kernels);
