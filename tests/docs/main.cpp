// Tries what stands in a document.
//
//     docs_runner TAVRO SOURCES file.md
//
// Every fenced block has a kind, the word behind the fence:
//
//     ```tavro          runs to its end with status 0 and nothing on standard error; a block of
//                       kind `output` right behind it is what it prints, byte for byte
//     ```tavro-part     compiles; a comment <!-- before: code --> in the line above is put in front
//     ```repl           lines behind > and . are typed at the prompt, the others are what it says
//     ```sh             runs like a script, in the shell
//     ```sh-part        waits for something or is a usage line: its commands and options exist
//     ```cpp            stands line by line in the file that the line above names:
//                       <!-- from: path -->
//     ```text           pictures and samples, which nobody can try
//
// Blocks run in a new folder, in which `examples` and `build/release/bin` stand for the real ones.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "../support/child_process.h"
#include "../support/expectation.h"
#include "../support/scratch.h"
#include "command_words.h"

namespace {

namespace fs = std::filesystem;
using namespace test_support;

struct fenced_block {
    std::string kind;
    size_t line = 0;   // of the fence, from 1
    std::string note;  // the line above
    std::string text;
};

struct places {
    fs::path tavro, sources;
};

// What stands in such a comment, empty if the line is none.
std::string comment(const std::string& line, std::string_view name) {
    const std::string begin = "<!-- " + std::string(name) + ": ";
    constexpr std::string_view end = " -->";
    if (!line.starts_with(begin) || !line.ends_with(end)) return {};
    return line.substr(begin.size(), line.size() - begin.size() - end.size());
}

std::vector<fenced_block> blocks_of(std::istream& document) {
    constexpr std::string_view fence = "```";
    std::vector<fenced_block> blocks;
    std::string line, last;
    bool inside = false;
    for (size_t number = 1; std::getline(document, line); ++number) {
        if (line.starts_with(fence)) {
            if (!inside) blocks.push_back({line.substr(fence.size()), number, last, {}});
            inside = !inside;
        } else if (inside) {
            blocks.back().text += line + "\n";
        }
        last = line;
    }
    return blocks;
}

// A folder of its own for one block.
struct block_folder : scratch {
    explicit block_folder(const places& in) {
        fs::create_directory_symlink(in.sources / "examples", path("examples"));
        fs::create_directories(path("build/release"));
        fs::create_directory_symlink(in.tavro.parent_path(), path("build/release/bin"));
    }
};

bool is_clean(const outcome& found) {
    if (found.status == 0 && found.err.empty()) return true;
    std::cout << "status " << found.status << "\n" << found.out << found.err;
    return false;
}

// A null output allows any.
bool script_runs(const places& in, const fenced_block& block, const std::string* output) {
    const block_folder folder(in);
    const std::string before = comment(block.note, "before");
    folder.add("block.tvio", before + (before.empty() ? "" : "\n") + block.text);
    const bool runs = block.kind == "tavro";
    const outcome found =
        run_program(in.tavro, {runs ? "run" : "check", "block.tvio"}, folder.path(""));
    return is_clean(found) && (output == nullptr || same_output(*output, found.out));
}

bool shell_runs(const places& in, const std::string& text, const std::string* output) {
    const block_folder folder(in);
    const outcome found = run_program("/bin/sh", {"-ec", text}, folder.path(""));
    return is_clean(found) && (output == nullptr || same_output(*output, found.out));
}

bool prompt_answers(const places& in, const fenced_block& block) {
    std::string typed, said;
    for (const std::string& line : lines_of(block.text)) {
        const bool is_typed = line.starts_with("> ") || line.starts_with(". ");
        (is_typed ? typed : said) += (is_typed ? line.substr(2) : line) + "\n";
    }
    const block_folder folder(in);
    const outcome found = run_program(in.tavro, {"repl"}, folder.path(""), typed);
    return is_clean(found) && same_output(said, found.out);
}

std::string without_indent(const std::string& line) {
    const size_t begin = line.find_first_not_of(' ');
    return begin == line.npos ? "" : line.substr(begin);
}

bool stands_in_its_file(const places& in, const fenced_block& block) {
    const std::string name = comment(block.note, "from");
    std::string everything = "\n", wanted = "\n";
    std::ifstream file;
    if (!name.empty()) file.open(in.sources / name);
    for (std::string line; std::getline(file, line);) everything += without_indent(line) + "\n";
    for (const std::string& line : lines_of(block.text)) wanted += without_indent(line) + "\n";
    if (everything.find(wanted) != everything.npos) return true;
    std::cout << "these lines do not stand in '" << name << "'\n";
    return false;
}

bool passes(const places& in, const fenced_block& block, const std::string* output) {
    if (block.kind == "tavro" || block.kind == "tavro-part") return script_runs(in, block, output);
    if (block.kind == "repl") return prompt_answers(in, block);
    if (block.kind == "sh") return shell_runs(in, block.text, output);
    if (block.kind == "sh-part") {
        return commands_exist(block.text, in.tavro.parent_path(), in.sources / "Makefile");
    }
    if (block.kind == "cpp") return stands_in_its_file(in, block);
    if (block.kind == "output" || block.kind == "text") return true;
    std::cout << "a block of kind '" << block.kind << "'\n";
    return false;
}

// How many blocks failed.
int failures(const places& in, const fs::path& file) {
    std::ifstream document(file);
    const std::vector<fenced_block> blocks = blocks_of(document);
    int failed = 0;
    for (size_t i = 0; i < blocks.size(); ++i) {
        const bool tells = i + 1 < blocks.size() && blocks[i + 1].kind == "output";
        if (passes(in, blocks[i], tells ? &blocks[i + 1].text : nullptr)) continue;
        std::cout << file.string() << ":" << blocks[i].line << ": this block fails\n";
        ++failed;
    }
    std::cout << blocks.size() << " blocks, " << failed << " failed\n";
    return blocks.empty() ? 1 : failed;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: docs_runner TAVRO SOURCES DOCUMENT\n";
        return 2;
    }
    try {
        return failures({fs::absolute(argv[1]), fs::absolute(argv[2])}, argv[3]) == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << "docs_runner: " << error.what() << "\n";
        return 2;
    }
}
