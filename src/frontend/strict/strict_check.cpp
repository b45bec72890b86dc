#include "frontend/strict/strict_check.h"

#include "frontend/strict/checker.h"
#include "runtime/script/script.h"

tvr_strict_checker::tvr_strict_checker(tvrscript& script, const tvr_ast& ast,
                                       tvr_package_imports& imports, const tvrk_unit* kernels)
    : impl(std::make_unique<tvr_strict_checker_impl>(script, ast, imports, kernels)),
      as_errors(script.config.strict_errors) {}

tvr_strict_checker::~tvr_strict_checker() = default;

void tvr_strict_checker::infer() {
    impl->infer();
}

size_t tvr_strict_checker::report() {
    impl->findings.print(as_errors);
    return impl->findings.found().size();
}

bool tvr_strict_check(tvrscript& script, const tvr_ast& ast, tvr_package_imports& imports,
                      const tvrk_unit* kernels) {
    if (!script.config.strict_mode && !ast.token_view().has_strict_marks()) return true;
    tvr_strict_checker checker(script, ast, imports, kernels);
    checker.infer();
    return checker.report() == 0 || !script.config.strict_errors;
}
