// How findings are told, where they are looked for, and when they end a compile; and what the
// checker says of scripts in files.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "../scripts/runner/file_text.h"
#include "frontend/strict/strict_check.h"
#include "strict_findings.h"

namespace {

namespace fs = std::filesystem;

bool compiles(strict_findings& strict, const char* source) {
    return bool(strict.maker.script.create_program_from_source(source, "a.tvio"));
}

TEST(strict_run, report) {
    strict_findings strict;
    const char* wrong = "y = 1;\nx = y / 0;";
    EXPECT_TRUE(compiles(strict, wrong));
    const std::string framed =
        "*** Warning ***\n"
        "------------------------------------------------------------\n"
        "--> a.tvio:2:7\n"
        " | x = y / 0;\n"
        " |       ^~~~~\n"
        "[strict] Division by zero.";
    const auto& log = strict.maker.scope.log;
    ASSERT_EQ(log.warnings.size(), 1u);
    EXPECT_EQ(log.warnings[0], framed + " (warning, an error with --strict-errors)");
    EXPECT_TRUE(log.errors.empty());

    strict.maker.script.config.strict_errors = true;
    EXPECT_FALSE(compiles(strict, wrong));
    ASSERT_EQ(log.errors.size(), 1u);
    EXPECT_EQ(log.errors[0], framed);
    EXPECT_TRUE(compiles(strict, "x = 1;"));
}

// Each of these takes minutes where the time grows with the square of the source's length.
TEST(strict_run, long_sources) {
    constexpr size_t count = 30000, contracts = 3000;
    std::string line, marks, interfaces = "interface i0 { def m() { } }\n";
    for (size_t i = 0; i < count; ++i) {
        line += tvr_join("x", i, " = 1 / 0; ");
        marks += tvr_join("#strict on\nx", i, " = 1 / 0;\n#strict off\n");
    }
    for (size_t i = 0; i < contracts; ++i)
        interfaces += tvr_join("interface i", i + 1, " : i", i, " { }\n");
    interfaces += tvr_join("class c : i", contracts, " { }");
    strict_findings strict;
    auto& warnings = strict.maker.scope.log.warnings;
    for (const auto& [source, findings] :
         {std::pair(line, count), {marks, count}, {interfaces, 0}}) {
        warnings.clear();
        EXPECT_TRUE(compiles(strict, source.c_str()));
        EXPECT_EQ(warnings.size(), findings);
    }
}

TEST(strict_run, marks) {
    struct row {
        const char* what;
        bool everywhere;
        const char* source;
        const char* lines;  // of the findings
    };
    const row rows[] = {
        {"nothing asks for it", false, "x = 1 / 0;", ""},
        {"everywhere", true, "x = 1 / 0;", "1 "},
        {"on", false, "x = 1 / 0;\n#strict on\nx = 1 / 0;\n#strict off\nx = 1 / 0;", "3 "},
        {"without a word", false, "#strict\nx = 1 / 0;", "2 "},
        {"off to the end", true, "x = 1 / 0;\n#strict off\nx = 1 / 0;\nx = 1 / 0;", "1 "},
        {"off and on", true, "#strict off\nx = 1 / 0;\n#strict on\nx = 1 / 0;", "4 "},
        {"what is off is known", true, "#strict off\nx = \"a\";\n#strict on\nx - 1;", "4 "},
        {"an included file has its own", false, "#strict on\n#include \"lib\"\nx = 1 / 0;", "3 "},
        {"where a definition is used", false, "#define Z 1 / 0\n#strict on\nx = Z;", "1 "},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        strict_findings strict;
        strict.maker.script.config.strict_mode = r.everywhere;
        strict.maker.scope.files.texts["lib.tvio"] = "l = 1 / 0;\nl = 2 / 0;";
        std::istringstream said(strict.of(r.source));
        std::string lines;
        for (std::string line; std::getline(said, line);)
            lines += line.substr(0, line.find(':')) + " ";
        EXPECT_EQ(lines, r.lines);
    }
}

// Of a script on the disk, with what it includes. The first line of an executable one is for the
// shell.
std::string findings_of(const fs::path& path) {
    std::string text = text_of(path);
    if (text.starts_with("#!")) text.erase(0, text.find('\n'));
    strict_findings strict;
    tvr_local().filesys = &tvr_filesys_machine();
    return strict.of(std::move(text), path.string());
}

// The findings of a script as they stand in the list, without their lines, which come and go.
std::string listed_findings(const fs::path& script) {
    const std::string said = findings_of(script);
    if (said.starts_with("no tree")) return "  no tree\n";
    std::string out;
    std::istringstream in(said);
    for (std::string line; std::getline(in, line);)
        out += "  " + line.substr(line.find(": ") + 2) + "\n";
    return out;
}

std::vector<fs::path> scripts_in(const fs::path& folder) {
    std::vector<fs::path> found;
    if (!fs::exists(folder)) return found;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.path().extension() == ".tvio") found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    return found;
}

// Beside each script stands what is found in it, a finding a line, nothing in one that is clean.
TEST(strict_run, scripts_with_findings) {
    const std::vector<fs::path> scripts = scripts_in(TAVRO_SOURCE "/tests/scripts/strict");
    EXPECT_GE(scripts.size(), 4u);
    for (const fs::path& script : scripts) {
        SCOPED_TRACE(script);
        EXPECT_EQ(findings_of(script), text_of(fs::path(script).replace_extension(".findings")));
    }
}

// Scripts that people start from, and those that are measured, are good ones.
TEST(strict_run, clean_scripts_stay_clean) {
    std::vector<fs::path> scripts = scripts_in(TAVRO_SOURCE "/bench/scripts");
    for (const auto& example : fs::directory_iterator(TAVRO_SOURCE "/examples"))
        if (example.path().extension() == ".tvio") scripts.push_back(example.path());
    EXPECT_GE(scripts.size(), 10u);
    for (const fs::path& script : scripts) {
        SCOPED_TRACE(script);
        EXPECT_EQ(findings_of(script), "");
    }
}

// The tests of the language use it as nobody should; which of them, and how, is known.
// With TAVRO_WRITE_FINDINGS set the list is written anew, for a person to look at what changed.
TEST(strict_run, scripts_of_the_language) {
    const fs::path list = TAVRO_SOURCE "/tests/scripts/strict/language.list";
    const fs::path folder = TAVRO_SOURCE "/tests/scripts/language";
    if (std::getenv("TAVRO_WRITE_FINDINGS") != nullptr) {
        std::ofstream out(list);
        for (const fs::path& script : scripts_in(folder))
            out << fs::relative(script, folder).string() << "\n" << listed_findings(script);
    }
    std::istringstream lines(text_of(list));
    std::string line, script, expected;
    size_t checked = 0;
    const auto check = [&] {
        if (script.empty()) return;
        SCOPED_TRACE(script);
        EXPECT_EQ(listed_findings(folder / script), expected);
        ++checked;
    };
    while (std::getline(lines, line)) {
        if (line.starts_with("  ")) {
            expected += line + "\n";
            continue;
        }
        check();
        script = line;
        expected.clear();
    }
    check();
    EXPECT_GE(checked, 100u);
}

}  // namespace
