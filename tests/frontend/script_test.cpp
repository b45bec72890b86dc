#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <regex>

#include <gtest/gtest.h>

#include "../scripts/runner/file_text.h"

// Script files through `tavro check --ast`, with what the program has to print beside them.

namespace {

namespace fs = std::filesystem;

struct outcome {
    std::string said;  // on standard output and standard error
    int status;
};

// Runs in the folder of the scripts, so that reports hold short paths. Times are blotted out.
outcome run_tavro(const std::string& arguments) {
    const std::string command =
        "(cd " TAVRO_SCRIPTS " && NO_COLOR=1 TAVRO_PATH= " TAVRO_PROGRAM " " + arguments + ") 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return {"popen failed", -1};
    std::string said;
    std::array<char, 4096> buffer;
    for (size_t n; (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
        said.append(buffer.data(), n);
    const int status = pclose(pipe);
    static const std::regex time("after [-+.e0-9]+ ms");
    return {std::regex_replace(said, time, "after T ms"),
            WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

class script_test : public testing::TestWithParam<std::string> {};

TEST_P(script_test, gives_what_is_expected) {
    const outcome found = run_tavro("check --ast " + GetParam() + ".tvio");
    const std::string expected = text_of(fs::path(TAVRO_SCRIPTS) / (GetParam() + ".expected"));
    EXPECT_EQ(found.said, expected);
    EXPECT_EQ(found.status, expected.find("Syntax Error") == std::string::npos ? 0 : 1);
}

std::vector<std::string> all_scripts() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(TAVRO_SCRIPTS))
        if (entry.path().extension() == ".expected") names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

INSTANTIATE_TEST_SUITE_P(syntax, script_test, testing::ValuesIn(all_scripts()),
                         [](const auto& test) { return test.param; });

TEST(check_command, statuses_and_sources) {
    struct row {
        const char* arguments;
        const char* said;
        int status;
    };
    const row rows[] = {
        {"check show_lib.tvio", "", 0},
        {"check none.tvio show_lib.tvio", "[main] ! Cannot find script file none.tvio\n", 1},
        {"check --ast - < show_lib.tvio | head -1", "class_def scene\n", 0},
        {"check show_lib.tvio missing_bracket.tvio 2> /dev/null", "", 1},
        {"check --ast folder_include.tvio -I folder", "variable found\n", 0},
        {"check folder_include.tvio 2> /dev/null", "", 1},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.arguments);
        const outcome found = run_tavro(r.arguments);
        EXPECT_EQ(found.said, r.said);
        EXPECT_EQ(found.status, r.status);
    }
    EXPECT_EQ(run_tavro("check").status, 2);
}

}  // namespace
