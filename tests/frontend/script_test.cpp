#include "front_end.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

// Script files with the tree or the error that is expected of them, beside them.

namespace {

namespace fs = std::filesystem;

std::string text_of(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class script_test : public testing::TestWithParam<std::string> {};

TEST_P(script_test, gives_what_is_expected) {
    const fs::path script = fs::path(TAVRO_SCRIPTS) / (GetParam() + ".tvio");
    front_end scope;
    for (const auto& entry : fs::directory_iterator(TAVRO_SCRIPTS))
        scope.files.texts[entry.path().filename().string()] = text_of(entry.path());
    tvr_lexer lexer;
    const auto ast = lexer.load_file(script.filename().string());
    const std::string found = ast != nullptr ? ast->print() : scope.log.errors.front() + "\n";
    EXPECT_EQ(found, text_of(fs::path(script).replace_extension(".expected")));
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

}  // namespace
