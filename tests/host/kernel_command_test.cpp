// `tavro kernel`: what it prints, and how it says that a source is wrong.

#include "host/kernel_command.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "../support/scratch.h"
#include "host/command.h"

namespace {

struct printed {
    int status = 0;
    std::string out, err;
};

printed show(const std::string& source, bool disasm, bool c_text) {
    const test_support::scratch folder;
    const std::string path = folder.add("test.kernel", source);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    printed made;
    made.status = host::show_kernels({path, disasm, c_text});
    std::fflush(stdout);
    made.out = testing::internal::GetCapturedStdout();
    made.err = testing::internal::GetCapturedStderr();
    return made;
}

TEST(kernel_command, prints_what_was_asked) {
    const std::string source =
        "kernel void fill(f32* p, f32 v) { p[gid] = v; }\n"
        "kernel i64 sum(const i32* p) reduce(+) { return p[gid]; }\n";
    EXPECT_EQ(show(source, false, false).out,
              "fill(f32* p, f32 v) -> void\nsum(const i32* p) -> i64 reduce(+)\n");
    EXPECT_NE(show(source, true, false).out.find("  0000  ST_F32      r6, p0, r0, +0; line 1\n"),
              std::string::npos);
    EXPECT_NE(show(source, false, true).out.find("/* kernel sum */"), std::string::npos);
}

TEST(kernel_command, shows_the_line_that_is_wrong) {
    const printed made = show("kernel void k() {\n  i32 a = 1.5;\n}\n", false, false);
    EXPECT_EQ(made.status, host::exit_failed);
    EXPECT_EQ(made.out, "");
    EXPECT_NE(made.err.find(":2:"), std::string::npos);
    EXPECT_NE(
        made.err.find("a float literal cannot be converted to i32 implicitly, write i32(...)\n"
                      "      i32 a = 1.5;\n"),
        std::string::npos)
        << made.err;
}

}  // namespace
