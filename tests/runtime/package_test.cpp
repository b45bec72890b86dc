// What a package.tvr may say.

#include <gtest/gtest.h>

#include "runtime/script/package_file.h"

namespace {

TEST(package_file, lines) {
    const struct {
        const char* text;
        const char* subsystem;  // null for a file that is refused
    } rows[] = {
        {"", "MODULE_INTERNAL"},
        {"name = deckbus\n", "MODULE_INTERNAL"},
        {"subsystem=MODULE_CABI", "MODULE_CABI"},
        {"  subsystem\t= \"MODULE_CABI\"  # in C\r\n", "MODULE_CABI"},
        {"# subsystem = A\n\n\nsubsystem = B\nsubsystem = C\n", "C"},
        {"subsystem = \"A # B\"", "A # B"},
        {"subsystem =", "MODULE_INTERNAL"},
        {"subsystem = a = b", "a = b"},
        {"subsystem", nullptr},
        {"name = a\n= b", nullptr},
        {"name = \"a", nullptr},
        {"name = \"", nullptr},
        {"name = a\"b\"", nullptr},
        {"name = \"a\" b", nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        tvr_package_file package;
        std::string error;
        ASSERT_EQ(package.parse(row.text, error), row.subsystem != nullptr) << error;
        if (row.subsystem == nullptr) continue;
        EXPECT_EQ(package.subsystem(), row.subsystem);
    }
    tvr_package_file package;
    std::string error;
    EXPECT_FALSE(package.parse("a = 1\n\nb\n", error));
    EXPECT_EQ(error, "line 3 is not of the form: key = value");
}

}  // namespace
