// Units that are compiled once, and the lines that errors quote.

#include "kernel/script/compile_cache.h"

#include <gtest/gtest.h>

#include "base/join.h"

namespace {

std::shared_ptr<const tvrk_unit> compiled(const std::string& source, const std::string& file = "f",
                                          const tvrk_imports& imports = {}) {
    tvrk_compile_error error;
    auto unit = tvr_kernel_compile_cached(source, file, imports, error);
    EXPECT_NE(unit, nullptr) << error.message;
    return unit;
}

TEST(compile_cache, equal_sources_share_a_unit) {
    const char* text = "kernel const i32 A = 1;";
    const auto first = compiled(text);
    const auto import = compiled("kernel const i32 B = 1;");
    EXPECT_EQ(compiled(text), first);
    EXPECT_NE(compiled(text, "g"), first);
    EXPECT_NE(compiled(text, "f", {import}), first);
    EXPECT_EQ(compiled(text, "f", {import}), compiled(text, "f", {import}));
    EXPECT_NE(compiled(text, "f", {import, first}), compiled(text, "f", {first, import}));
}

TEST(compile_cache, forgets_only_what_nobody_uses) {
    const auto kept = compiled("kernel const i32 KEPT = 1;");
    std::weak_ptr<const tvrk_unit> dropped = compiled("kernel const i32 DROPPED = 1;");
    EXPECT_FALSE(dropped.expired());
    for (size_t i = 0; i <= tvr_max_cached_kernel_units; ++i) {
        compiled(tvr_join("kernel const i32 N", i, " = 1;"));
    }
    EXPECT_TRUE(dropped.expired());
    EXPECT_EQ(compiled("kernel const i32 KEPT = 1;"), kept);
}

TEST(compile_cache, errors_are_not_kept) {
    tvrk_compile_error first, second;
    EXPECT_EQ(tvr_kernel_compile_cached("x", "f", {}, first), nullptr);
    EXPECT_EQ(tvr_kernel_compile_cached("x", "f", {}, second), nullptr);
    EXPECT_EQ(first.message, second.message);
    EXPECT_FALSE(first.message.empty());
}

TEST(compile_cache, quotes_the_line_of_an_error) {
    const std::string source = "one\ntwo\r\n#line 40 \"other\"\nforty\n#line 1 \"f\"\nagain\n";
    const struct {
        const char* file;
        uint32_t line;
        const char* quoted;
    } rows[] = {
        {"f", 1, "one"},   {"f", 2, "two"}, {"other", 40, "forty"}, {"other", 41, "#line 1 \"f\""},
        {"other", 39, ""}, {"f", 77, ""},   {"none", 1, ""},
    };
    for (const auto& row : rows) {
        tvrk_compile_error error{row.file, row.line, 1, ""};
        EXPECT_EQ(tvr_kernel_error_line(source, "f", error), row.quoted) << row.line;
    }
}

}  // namespace
